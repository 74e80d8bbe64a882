#include "tav/recording/recording_location.hpp"

#include <ctime>
#include <system_error>

#include <boost/beast/core/detail/base64.hpp>

#include "tav/contracts/uuid.hpp"
#include "tav/foundation/web_address.hpp"
#include "tav/recording/volume_classification.hpp"

namespace tav {

namespace {

namespace base64 = boost::beast::detail::base64;

std::string encodeBase64(const std::vector<std::uint8_t>& bytes) {
  std::string text(base64::encoded_size(bytes.size()), '\0');
  text.resize(base64::encode(text.data(), bytes.data(), bytes.size()));
  return text;
}

std::optional<std::vector<std::uint8_t>> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes(base64::decoded_size(text.size()));
  auto [written, read] = base64::decode(bytes.data(), text.data(), text.size());
  // The decoder stops at the first character outside the alphabet; only padding may follow.
  for (std::size_t i = read; i < text.size(); ++i) {
    if (text[i] != '=') return std::nullopt;
  }
  bytes.resize(written);
  return bytes;
}

/// The single key of an enumeration's object form, and its value.
const boost::json::key_value_pair& singleMember(const JsonValue& json, const JsonPath& path) {
  if (!json.is_object()) detail::throwExpected(path, "an object");
  const auto& object = json.get_object();
  if (object.size() != 1) throw DecodingError(path, "Invalid number of keys found, expected one.");
  return *object.begin();
}

void writeEmptyCase(JsonWriter& w, std::string_view key) {
  w.beginObject();
  w.key(key);
  w.beginObject();
  w.endObject();
  w.endObject();
}

std::string localDateText(const char* format) {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char buffer[64];
  std::size_t length = std::strftime(buffer, sizeof buffer, format, &local);
  return std::string(buffer, length);
}

}  // namespace

std::string RecordingLocationType::title() const {
  switch (key_) {
    case Key::local:
      return "On This Device";
    case Key::cloud:
      return "iCloud";
    case Key::external:
      return external_;
  }
  return {};
}

RecordingLocationError::RecordingLocationError(Case errorCase)
    : std::runtime_error(errorCase == Case::readOnly ? "The location is read-only"
                                                     : "Could not make a bookmark for the location"),
      case_(errorCase) {}

std::string CustomRecordingLocation::title() const {
  if (name) return type.title() + " - " + *name;
  return type.title();
}

CodableUserDefault<std::vector<RecordingLocation>> CustomRecordingLocation::locations(std::shared_ptr<UserDefaults> store) {
  return CodableUserDefault<std::vector<RecordingLocation>>("CUSTOM_RECORDING_LOCATIONS", {}, std::move(store));
}

std::vector<std::uint8_t> makeBookmark(const std::filesystem::path& path) {
  if (path.empty() || !path.is_absolute()) return {};
  std::string text = path.lexically_normal().string();
  return std::vector<std::uint8_t>(text.begin(), text.end());
}

std::optional<Url> resolveBookmark(const std::vector<std::uint8_t>& bookmark) {
  if (bookmark.empty()) return std::nullopt;
  std::filesystem::path path(std::string(bookmark.begin(), bookmark.end()));
  if (!path.is_absolute()) return std::nullopt;
  std::error_code error;
  if (!std::filesystem::exists(path, error) || error) return std::nullopt;
  return Url::fileUrl(path);
}

void CustomRecordingLocation::addCustomLocation(const Url& url, std::string_view mountTable,
                                                std::shared_ptr<UserDefaults> store) {
  // Linux has no security-scoped access to start or stop: a folder the process can reach is usable.
  if (!url.isFileUrl()) throw RecordingLocationError(RecordingLocationError::Case::bookmarkFailed);
  std::filesystem::path folder = url.filePath();
  std::error_code error;
  if (!std::filesystem::exists(folder, error) || error) {
    throw RecordingLocationError(RecordingLocationError::Case::bookmarkFailed);
  }
  std::string systemTable;
  if (mountTable.empty()) {
    systemTable = currentMountTable();
    mountTable = systemTable;
  }
  std::optional<VolumeResourceValues> values = volumeResourceValues(folder, mountTable);
  // An unknown read-only state counts as a failure, as does a read-only volume; the caller hears of
  // both as a failed bookmark.
  if (!values || !values->volumeIsReadOnly || *values->volumeIsReadOnly) {
    throw RecordingLocationError(RecordingLocationError::Case::bookmarkFailed);
  }
  std::vector<std::uint8_t> bookmark = makeBookmark(folder);
  if (bookmark.empty()) throw RecordingLocationError(RecordingLocationError::Case::bookmarkFailed);

  auto [type, name] = classifyRecordingLocation(folder.string(), *values);
  CustomRecordingLocation record{Uuid::random().toString(), std::move(type), std::move(bookmark), std::move(name)};
  auto handle = locations(std::move(store));
  std::vector<RecordingLocation> saved = handle.get();
  saved.push_back(RecordingLocation::custom(std::move(record)));
  handle.set(saved);
}

std::string RecordingLocation::id() const {
  if (const auto* custom = customLocation()) return custom->id;
  return "PHOTO_LIBRARY_LOCATION";
}

std::string RecordingLocation::title() const {
  if (const auto* custom = customLocation()) return custom->title();
  return "Photo Library";
}

std::string RecordingLocation::savedMessage() const {
  if (isPhotoLibrary()) return "Tavo Studio has saved this recording to your library.";
  return "Tavo Studio has saved this recording at: " + title();
}

std::optional<Url> RecordingLocation::url() const {
  if (const auto* custom = customLocation()) return resolveBookmark(custom->bookmark);
  return std::nullopt;
}

CodableUserDefault<RecordingLocation> RecordingLocation::current(std::shared_ptr<UserDefaults> store) {
  return CodableUserDefault<RecordingLocation>("CURRENT_RECORDING_LOCATION", RecordingLocation::photoLibrary(),
                                               std::move(store));
}

std::string RecordingLocation::generateFilename(const std::optional<std::string>& customFileName) {
  if (customFileName && !customFileName->empty()) return *customFileName;
  MainBundleInfo bundle = mainBundleInfo();
  return "Tavo Studio " + bundle.version.value_or("") + "-" + bundle.buildNumber.value_or("") + " at " +
         localDateText("%Y-%m-%d %H-%M-%S") + ".mov";
}

RecordingLocationType JsonCoder<RecordingLocationType>::decode(const JsonValue& json, const JsonPath& path) {
  const auto& member = singleMember(json, path);
  std::string_view key(member.key().data(), member.key().size());
  const JsonPath casePath = path.key(key);
  if (key == "local" || key == "cloud") {
    if (!member.value().is_object()) detail::throwExpected(casePath, "an object");
    return key == "local" ? RecordingLocationType::local() : RecordingLocationType::cloud();
  }
  if (key == "external") {
    JsonObjectReader reader(member.value(), casePath);
    return RecordingLocationType::external(reader.required<std::string>("_0"));
  }
  throw DecodingError(path, "unknown case \"" + std::string(key) + "\"");
}

void JsonCoder<RecordingLocationType>::encode(JsonWriter& w, const RecordingLocationType& v) {
  switch (v.key()) {
    case RecordingLocationType::Key::local:
      return writeEmptyCase(w, "local");
    case RecordingLocationType::Key::cloud:
      return writeEmptyCase(w, "cloud");
    case RecordingLocationType::Key::external:
      w.beginObject();
      w.key("external");
      w.beginObject();
      w.field("_0", *v.externalName());
      w.endObject();
      w.endObject();
      return;
  }
}

CustomRecordingLocation JsonCoder<CustomRecordingLocation>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  CustomRecordingLocation record;
  record.id = reader.required<std::string>("id");
  record.type = reader.required<RecordingLocationType>("type");
  std::string bookmarkText = reader.required<std::string>("bookmark");
  auto bytes = decodeBase64(bookmarkText);
  if (!bytes) {
    const JsonPath bookmarkPath = path.key("bookmark");
    throw DecodingError(bookmarkPath, "expected Base64 data");
  }
  record.bookmark = std::move(*bytes);
  record.name = reader.optional<std::string>("name");
  return record;
}

void JsonCoder<CustomRecordingLocation>::encode(JsonWriter& w, const CustomRecordingLocation& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("type", v.type);
  w.field("bookmark", encodeBase64(v.bookmark));
  w.optionalField("name", v.name);
  w.endObject();
}

RecordingLocation JsonCoder<RecordingLocation>::decode(const JsonValue& json, const JsonPath& path) {
  const auto& member = singleMember(json, path);
  std::string_view key(member.key().data(), member.key().size());
  const JsonPath casePath = path.key(key);
  if (key == "photoLibrary") {
    if (!member.value().is_object()) detail::throwExpected(casePath, "an object");
    return RecordingLocation::photoLibrary();
  }
  if (key == "custom") {
    JsonObjectReader reader(member.value(), casePath);
    return RecordingLocation::custom(reader.required<CustomRecordingLocation>("_0"));
  }
  throw DecodingError(path, "unknown case \"" + std::string(key) + "\"");
}

void JsonCoder<RecordingLocation>::encode(JsonWriter& w, const RecordingLocation& v) {
  if (const auto* custom = v.customLocation()) {
    w.beginObject();
    w.key("custom");
    w.beginObject();
    w.field("_0", *custom);
    w.endObject();
    w.endObject();
  } else {
    writeEmptyCase(w, "photoLibrary");
  }
}

}  // namespace tav
