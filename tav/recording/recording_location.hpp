// The user's saved recording destinations.
//
// A RecordingLocation is either the media library (the platform's photo library; on Linux the user's
// videos folder) or a folder the user picked, kept as a CustomRecordingLocation with a bookmark from
// which its URL is found again. Both persist as JSON in the user defaults.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/url.hpp"
#include "tav/foundation/codable_user_default.hpp"

namespace tav {

/// Where a custom location lives: `local`, `cloud`, or `external` with the volume's name.
class RecordingLocationType {
 public:
  /// The case keys, in their order.
  enum class Key { local, cloud, external };

  static RecordingLocationType local() { return RecordingLocationType(Key::local, {}); }
  static RecordingLocationType cloud() { return RecordingLocationType(Key::cloud, {}); }
  static RecordingLocationType external(std::string volumeName) {
    return RecordingLocationType(Key::external, std::move(volumeName));
  }

  Key key() const { return key_; }
  bool isLocal() const { return key_ == Key::local; }
  bool isCloud() const { return key_ == Key::cloud; }
  bool isExternal() const { return key_ == Key::external; }
  /// The volume name of `external`; nullptr for the other cases.
  const std::string* externalName() const { return key_ == Key::external ? &external_ : nullptr; }

  /// "On This Device", "iCloud", or the volume name.
  std::string title() const;
  /// The system symbol name "externaldrive" (for every case).
  static std::string_view icon() { return "externaldrive"; }

  friend bool operator==(const RecordingLocationType&, const RecordingLocationType&) = default;

 private:
  RecordingLocationType(Key key, std::string external) : key_(key), external_(std::move(external)) {}
  Key key_;
  std::string external_;
};

/// Refusals of a custom location. addCustomLocation reports every failure as bookmarkFailed.
class RecordingLocationError : public std::runtime_error {
 public:
  enum class Case { readOnly, bookmarkFailed };
  explicit RecordingLocationError(Case errorCase);
  Case errorCase() const { return case_; }

 private:
  Case case_;
};

struct RecordingLocation;

/// A folder the user picked. `bookmark` holds the UTF-8 bytes of the folder's absolute path.
struct CustomRecordingLocation {
  std::string id;
  RecordingLocationType type = RecordingLocationType::local();
  std::vector<std::uint8_t> bookmark;
  std::optional<std::string> name;

  /// The type's title, then " - " and the name when there is one.
  std::string title() const;

  /// The saved custom locations, key "CUSTOM_RECORDING_LOCATIONS" of `store` (by default the standard
  /// store installed at the time of the call), default empty.
  static CodableUserDefault<std::vector<RecordingLocation>> locations(
      std::shared_ptr<UserDefaults> store = UserDefaults::standard());

  /// Adds the folder at `url` to `locations(store)` as a new custom location (new UUID, classified by
  /// its volume). Throws RecordingLocationError bookmarkFailed when the folder's volume cannot be read
  /// or is read-only, or when no bookmark can be made. `mountTable` is the text of /proc/self/mounts;
  /// empty reads the running system's.
  static void addCustomLocation(const Url& url, std::string_view mountTable = {},
                                std::shared_ptr<UserDefaults> store = UserDefaults::standard());

  friend bool operator==(const CustomRecordingLocation&, const CustomRecordingLocation&) = default;
};

/// A bookmark for the folder at `path` (its UTF-8 bytes); empty for a relative or empty path.
std::vector<std::uint8_t> makeBookmark(const std::filesystem::path& path);
/// The file URL a bookmark names; absent when it names no absolute path or nothing exists there.
std::optional<Url> resolveBookmark(const std::vector<std::uint8_t>& bookmark);

/// One saved destination.
struct RecordingLocation {
  struct PhotoLibrary {
    friend bool operator==(const PhotoLibrary&, const PhotoLibrary&) = default;
  };

  std::variant<PhotoLibrary, CustomRecordingLocation> value = PhotoLibrary{};

  static RecordingLocation photoLibrary() { return RecordingLocation{PhotoLibrary{}}; }
  static RecordingLocation custom(CustomRecordingLocation location) { return RecordingLocation{std::move(location)}; }

  bool isPhotoLibrary() const { return std::holds_alternative<PhotoLibrary>(value); }
  const CustomRecordingLocation* customLocation() const { return std::get_if<CustomRecordingLocation>(&value); }

  /// "PHOTO_LIBRARY_LOCATION", or the custom record's id.
  std::string id() const;
  /// "Photo Library", or the custom record's title.
  std::string title() const;
  /// The system symbol name "photo.on.rectangle" (for both cases).
  static std::string_view icon() { return "photo.on.rectangle"; }
  /// What the user is told once a recording is saved here.
  std::string savedMessage() const;
  /// The custom folder's URL from its bookmark; absent for the photo library or a bookmark that no
  /// longer resolves.
  std::optional<Url> url() const;

  /// The chosen location, key "CURRENT_RECORDING_LOCATION" of `store` (by default the standard store
  /// installed at the time of the call), default photoLibrary.
  static CodableUserDefault<RecordingLocation> current(std::shared_ptr<UserDefaults> store = UserDefaults::standard());

  /// `customFileName` when it is given and not empty; otherwise "Tavo Studio <version>-<build> at
  /// <yyyy-MM-dd HH-mm-ss>.mov" in local time, with an absent version or build number left empty.
  static std::string generateFilename(const std::optional<std::string>& customFileName);

  friend bool operator==(const RecordingLocation&, const RecordingLocation&) = default;
};

/// {"local":{}}, {"cloud":{}}, {"external":{"_0":"<name>"}}. Reading requires exactly one key.
template <>
struct JsonCoder<RecordingLocationType> {
  static RecordingLocationType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const RecordingLocationType& v);
};

/// Keys "id", "type", "bookmark" (Base64 text), "name" (left out when absent).
template <>
struct JsonCoder<CustomRecordingLocation> {
  static CustomRecordingLocation decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const CustomRecordingLocation& v);
};

/// {"photoLibrary":{}} or {"custom":{"_0":{...}}}. Reading requires exactly one key.
template <>
struct JsonCoder<RecordingLocation> {
  static RecordingLocation decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const RecordingLocation& v);
};

}  // namespace tav
