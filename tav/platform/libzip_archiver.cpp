#include "tav/platform/libzip_archiver.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

namespace tav {
namespace {

struct ZipDiscarder {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct ZipFileCloser {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
struct ZipSourceFreer {
  void operator()(zip_source_t* source) const { zip_source_free(source); }
};
/// A file descriptor closed when it goes out of scope.
struct FileDescriptor {
  int fd;
  ~FileDescriptor() {
    if (fd >= 0) ::close(fd);
  }
};
using ZipHandle = std::unique_ptr<zip_t, ZipDiscarder>;
using ZipFileHandle = std::unique_ptr<zip_file_t, ZipFileCloser>;
using ZipSourceHandle = std::unique_ptr<zip_source_t, ZipSourceFreer>;

std::string quoted(const std::filesystem::path& path) { return "\"" + path.string() + "\""; }

std::string errorText(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

[[noreturn]] void fail(const std::filesystem::path& archive, const std::string& problem) {
  throw ZipArchiveError(quoted(archive) + ": " + problem);
}

/// One entry as the central directory describes it.
struct Entry {
  zip_uint64_t index;
  std::string name;
  zip_uint64_t size;
  bool isDirectory;
};

/// Why `name` must not be unpacked, or empty when it is safe: it must stay below the folder.
std::string unsafeNameProblem(std::string_view name) {
  if (name.empty()) return "has an empty name";
  if (name.front() == '/' || name.front() == '\\') return "has an absolute path";
  if (name.size() >= 2 && name[1] == ':') return "has an absolute path";
  if (name.find('\0') != std::string_view::npos) return "has a NUL in its name";
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t end = name.find_first_of("/\\", start);
    if (end == std::string_view::npos) end = name.size();
    if (name.substr(start, end - start) == "..") return "leads out of the folder with \"..\"";
    start = end + 1;
  }
  return {};
}

/// The entries of an open archive, checked against the limits and the rules for names and kinds.
std::vector<Entry> checkedEntries(zip_t* zip, const std::filesystem::path& archive, const UnzipLimits& limits) {
  const zip_int64_t count = zip_get_num_entries(zip, 0);
  if (count < 0) fail(archive, "cannot count its entries");
  if (static_cast<zip_uint64_t>(count) > limits.maximumEntryCount) {
    fail(archive, "has " + std::to_string(count) + " entries, more than the limit of " +
                      std::to_string(limits.maximumEntryCount));
  }
  std::vector<Entry> entries;
  entries.reserve(static_cast<std::size_t>(count));
  zip_uint64_t total = 0;
  for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(zip, index, ZIP_FL_ENC_GUESS, &stat) != 0 || (stat.valid & ZIP_STAT_NAME) == 0) {
      fail(archive, "entry " + std::to_string(index) + " cannot be read: " + zip_strerror(zip));
    }
    const std::string name = stat.name;
    const std::string where = "entry \"" + name + "\" ";
    if (std::string problem = unsafeNameProblem(name); !problem.empty()) fail(archive, where + problem);
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(zip, index, 0, &system, &attributes) == 0 && system == ZIP_OPSYS_UNIX) {
      const mode_t mode = static_cast<mode_t>(attributes >> 16);
      if (S_ISLNK(mode)) fail(archive, where + "is a symbolic link");
      if (mode != 0 && !S_ISREG(mode) && !S_ISDIR(mode)) fail(archive, where + "is not a file or a folder");
    }
    if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && stat.encryption_method != ZIP_EM_NONE) {
      fail(archive, where + "is encrypted");
    }
    const bool isDirectory = name.back() == '/';
    const zip_uint64_t size = (stat.valid & ZIP_STAT_SIZE) != 0 ? stat.size : 0;
    total += size;
    if (total > limits.maximumTotalSize || size > limits.maximumTotalSize) {
      fail(archive, "would unpack to more than the limit of " + std::to_string(limits.maximumTotalSize) + " bytes");
    }
    entries.push_back(Entry{index, name, size, isDirectory});
  }
  return entries;
}

/// Makes each folder from `folder` down to `relative` (a folder path below it), refusing any existing
/// component that is a symbolic link, so no entry is ever written through one.
void makeFolders(const std::filesystem::path& folder, const std::filesystem::path& relative,
                 const std::filesystem::path& archive) {
  std::filesystem::path current = folder;
  for (const auto& component : relative) {
    if (component.empty() || component == ".") continue;
    current /= component;
    std::error_code error;
    const auto status = std::filesystem::symlink_status(current, error);
    if (std::filesystem::is_symlink(status)) fail(archive, quoted(current) + " is a symbolic link");
    if (std::filesystem::is_directory(status)) continue;
    if (std::filesystem::exists(status)) fail(archive, quoted(current) + " is in the way of a folder");
    if (!std::filesystem::create_directory(current, error) && error) {
      fail(archive, "cannot make " + quoted(current) + ": " + error.message());
    }
  }
}

void writeEntry(zip_t* zip, const Entry& entry, const std::filesystem::path& folder,
                const std::filesystem::path& archive, zip_uint64_t& remaining) {
  const std::filesystem::path relative = std::filesystem::path(entry.name).lexically_normal();
  if (entry.isDirectory) {
    makeFolders(folder, relative, archive);
    return;
  }
  makeFolders(folder, relative.parent_path(), archive);
  const std::filesystem::path target = folder / relative;
  ZipFileHandle source(zip_fopen_index(zip, entry.index, 0));
  if (!source) fail(archive, "entry \"" + entry.name + "\" cannot be opened: " + zip_strerror(zip));
  const FileDescriptor output{::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644)};
  if (output.fd < 0) fail(archive, "cannot write " + quoted(target) + ": " + std::strerror(errno));
  char buffer[64 * 1024];
  zip_uint64_t written = 0;
  for (;;) {
    const zip_int64_t read = zip_fread(source.get(), buffer, sizeof buffer);
    if (read < 0) {
      fail(archive, "entry \"" + entry.name + "\" is damaged: " + zip_error_strerror(zip_file_get_error(source.get())));
    }
    if (read == 0) break;
    const auto length = static_cast<zip_uint64_t>(read);
    // The declared sizes were checked against the limits; data that runs past them is refused too.
    if (length > remaining || written + length > entry.size) {
      fail(archive, "entry \"" + entry.name + "\" holds more data than it declares");
    }
    remaining -= length;
    written += length;
    for (std::size_t offset = 0; offset < length;) {
      const ssize_t n = ::write(output.fd, buffer + offset, static_cast<std::size_t>(length) - offset);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) fail(archive, "cannot write " + quoted(target) + ": " + std::strerror(errno));
      offset += static_cast<std::size_t>(n);
    }
  }
}

/// Files and folders below `folder`, relative to it, sorted so archives come out the same each time.
std::vector<std::filesystem::path> packedItems(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> items;
  std::error_code error;
  std::filesystem::recursive_directory_iterator it(folder, error);
  if (error) throw std::system_error(error, "cannot list " + quoted(folder));
  for (; it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
    if (error) throw std::system_error(error, "cannot list " + quoted(folder));
    const auto status = it->symlink_status(error);
    if (std::filesystem::is_regular_file(status) || std::filesystem::is_directory(status)) {
      items.push_back(it->path().lexically_relative(folder));
    }
  }
  if (error) throw std::system_error(error, "cannot list " + quoted(folder));
  std::sort(items.begin(), items.end());
  return items;
}

// An archive with no entries is just its end-of-central-directory record; libzip does not write a file
// for an empty archive, but an empty folder still makes a valid (empty) archive.
constexpr char kEmptyArchive[22] = {'P', 'K', 5, 6};

}  // namespace

void LibzipArchiver::pack(const std::filesystem::path& folder, const std::filesystem::path& archive) const {
  std::vector<std::filesystem::path> items;
  try {
    items = packedItems(folder);
  } catch (const std::system_error& e) {
    fail(archive, e.what());
  }
  int code = 0;
  ZipHandle zip(zip_open(archive.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code));
  if (!zip) fail(archive, "cannot be created: " + errorText(code));
  for (const auto& item : items) {
    const std::string name = item.generic_string();
    std::error_code error;
    if (std::filesystem::is_directory(folder / item, error)) {
      if (zip_dir_add(zip.get(), name.c_str(), ZIP_FL_ENC_UTF_8) < 0) {
        fail(archive, "cannot add folder \"" + name + "\": " + zip_strerror(zip.get()));
      }
      continue;
    }
    ZipSourceHandle source(zip_source_file(zip.get(), (folder / item).c_str(), 0, -1));
    if (!source) fail(archive, "cannot read \"" + name + "\": " + zip_strerror(zip.get()));
    if (zip_file_add(zip.get(), name.c_str(), source.get(), ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
      fail(archive, "cannot add \"" + name + "\": " + zip_strerror(zip.get()));
    }
    source.release();  // the archive owns it now
  }
  // The files are read and compressed here.
  if (zip_close(zip.get()) != 0) fail(archive, "cannot be written: " + std::string(zip_strerror(zip.get())));
  zip.release();
  if (items.empty()) {
    std::ofstream out(archive, std::ios::binary | std::ios::trunc);
    out.write(kEmptyArchive, sizeof kEmptyArchive);
    if (!out) fail(archive, "cannot be written");
  }
}

void LibzipArchiver::unpack(const std::filesystem::path& archive, const std::filesystem::path& folder,
                            const UnzipLimits& limits) const {
  int code = 0;
  ZipHandle zip(zip_open(archive.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &code));
  if (!zip) fail(archive, "is not a readable zip archive: " + errorText(code));
  // Every entry is checked before the first is written, so a refused archive leaves nothing behind.
  const std::vector<Entry> entries = checkedEntries(zip.get(), archive, limits);
  zip_uint64_t remaining = limits.maximumTotalSize;
  for (const Entry& entry : entries) writeEntry(zip.get(), entry, folder, archive, remaining);
}

const ZipArchiver& defaultZipArchiver() {
  static const LibzipArchiver archiver;
  return archiver;
}

}  // namespace tav
