#include "tav/recording/volume_classification.hpp"

#include <array>
#include <fstream>
#include <sstream>
#include <vector>

namespace tav {

namespace {

constexpr std::string_view kFileProviderStorage = "File Provider Storage";

/// Undoes the octal escapes (\040 for a blank, \011, \012, \134) of a mount table field.
std::string unescapeMountField(std::string_view field) {
  std::string result;
  result.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
    if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) && isOctal(field[i + 2]) &&
        isOctal(field[i + 3])) {
      int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
      result += static_cast<char>(value);
      i += 3;
      continue;
    }
    result += field[i];
  }
  return result;
}

struct MountEntry {
  std::filesystem::path mountPoint;
  std::string type;
  std::string options;
};

std::vector<MountEntry> parseMountTable(std::string_view table) {
  std::vector<MountEntry> entries;
  std::size_t lineStart = 0;
  while (lineStart < table.size()) {
    std::size_t lineEnd = table.find('\n', lineStart);
    if (lineEnd == std::string_view::npos) lineEnd = table.size();
    std::string_view line = table.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;
    std::array<std::string_view, 4> fields{};
    std::size_t count = 0;
    std::size_t at = 0;
    while (count < fields.size() && at < line.size()) {
      while (at < line.size() && (line[at] == ' ' || line[at] == '\t')) ++at;
      std::size_t end = at;
      while (end < line.size() && line[end] != ' ' && line[end] != '\t') ++end;
      if (end > at) fields[count++] = line.substr(at, end - at);
      at = end;
    }
    if (count < 4) continue;
    entries.push_back({std::filesystem::path(unescapeMountField(fields[1])), std::string(fields[2]),
                       std::string(fields[3])});
  }
  return entries;
}

/// True when `path` is `base` or lies below it (both absolute and normal).
bool isWithin(const std::filesystem::path& path, const std::filesystem::path& base) {
  auto p = path.begin();
  for (auto b = base.begin(); b != base.end(); ++b, ++p) {
    if (b->empty()) continue;  // the trailing empty element of "/mnt/"
    if (p == path.end() || *p != *b) return false;
  }
  return true;
}

std::size_t depth(const std::filesystem::path& path) {
  std::size_t count = 0;
  for (const auto& part : path) {
    if (!part.empty()) ++count;
  }
  return count;
}

bool hasOption(std::string_view options, std::string_view option) {
  std::size_t at = 0;
  while (at <= options.size()) {
    std::size_t end = options.find(',', at);
    if (end == std::string_view::npos) end = options.size();
    if (options.substr(at, end - at) == option) return true;
    at = end + 1;
  }
  return false;
}

bool isCloudFilesystem(std::string_view type) {
  for (std::string_view cloud : {"fuse.rclone", "fuse.onedriver", "fuse.gcsfuse", "fuse.google-drive-ocamlfuse",
                                 "fuse.s3fs", "davfs", "fuse.davfs2"}) {
    if (type == cloud) return true;
  }
  return false;
}

bool isRemovableMountPoint(const std::filesystem::path& mountPoint) {
  for (std::string_view base : {"/media", "/run/media", "/mnt"}) {
    std::filesystem::path basePath(base);
    if (isWithin(mountPoint, basePath) && depth(mountPoint) > depth(basePath)) return true;
  }
  return false;
}

std::string lastComponent(const std::filesystem::path& path) {
  std::string name;
  for (const auto& part : path) {
    if (!part.empty() && part != "/") name = part.string();
  }
  return name;
}

}  // namespace

std::pair<RecordingLocationType, std::optional<std::string>> classifyRecordingLocation(
    std::string_view path, const VolumeResourceValues& values) {
  std::optional<RecordingLocationType> type;
  bool typeFromVolume = false;
  if (values.ubiquitousItemContainerDisplayName) {
    type = RecordingLocationType::cloud();
  } else if (values.volumeName) {
    type = *values.volumeName == "User" ? RecordingLocationType::local()
                                        : RecordingLocationType::external(*values.volumeName);
    typeFromVolume = true;
  }
  if (typeFromVolume && values.localizedName && *values.localizedName == *values.volumeName) {
    return {*type, std::nullopt};
  }
  if (path.find(kFileProviderStorage) != std::string_view::npos) {
    std::string last = lastComponent(std::filesystem::path(path));
    if (last == kFileProviderStorage) return {RecordingLocationType::local(), std::nullopt};
    return {RecordingLocationType::local(), values.localizedName};
  }
  return {type.value_or(RecordingLocationType::local()), values.localizedName};
}

std::optional<VolumeResourceValues> volumeResourceValues(const std::filesystem::path& folder,
                                                         std::string_view mountTable) {
  std::filesystem::path normal = folder.lexically_normal();
  if (!normal.is_absolute()) return std::nullopt;
  const std::vector<MountEntry> entries = parseMountTable(mountTable);
  const MountEntry* best = nullptr;
  for (const auto& entry : entries) {
    if (!entry.mountPoint.is_absolute() || !isWithin(normal, entry.mountPoint)) continue;
    // Later lines of an equal mount point are mounted over earlier ones.
    if (best == nullptr || depth(entry.mountPoint) >= depth(best->mountPoint)) best = &entry;
  }
  if (best == nullptr) return std::nullopt;
  VolumeResourceValues values;
  std::string folderName = lastComponent(normal);
  std::string mountName = lastComponent(best->mountPoint);
  values.localizedName = folderName.empty() ? std::string("/") : folderName;
  if (isCloudFilesystem(best->type)) {
    values.ubiquitousItemContainerDisplayName = mountName;
    values.volumeName = mountName;
  } else if (isRemovableMountPoint(best->mountPoint)) {
    values.volumeName = mountName;
  } else {
    values.volumeName = "User";
  }
  values.volumeIsReadOnly = hasOption(best->options, "ro");
  return values;
}

std::string currentMountTable() {
  std::ifstream file("/proc/self/mounts");
  if (!file) return {};
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace tav
