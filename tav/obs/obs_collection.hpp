// An OBS Studio scene collection read into plain values.
//
// OBS writes its collections with whatever keys and types its version and plugins use, so reading is
// lenient in a fixed way: what can be read is kept, and everything else takes a fixed default or is
// dropped (a bad source list becomes an empty list, a bad item list an absent one). The library only
// reads this format; nothing here writes it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "tav/contracts/geometry.hpp"

namespace tav {

/// A JSON object key reached by its text, as settings objects are walked; `intValue` is set only for
/// keys made from an integer.
struct DynamicKey {
  std::string stringValue;
  std::optional<int> intValue;

  explicit DynamicKey(std::string text) : stringValue(std::move(text)) {}
  explicit DynamicKey(int value) : stringValue(std::to_string(value)), intValue(value) {}
  friend bool operator==(const DynamicKey&, const DynamicKey&) = default;
};

struct OBSVec2 {
  double x = 0;
  double y = 0;
  friend bool operator==(const OBSVec2&, const OBSVec2&) = default;
};

/// Any value of a source's settings. A JSON number reads as `int` when it holds an integral value that
/// fits 64 bits (5 and 5.0 alike), else as `double` (5.5).
class OBSJSONValue {
 public:
  enum class Case { string, int_, double_, bool_, object, array, null };
  using Object = std::map<std::string, OBSJSONValue, std::less<>>;
  using Array = std::vector<OBSJSONValue>;

  OBSJSONValue() : value_(nullptr) {}
  OBSJSONValue(std::string v) : value_(std::move(v)) {}
  OBSJSONValue(std::int64_t v) : value_(v) {}
  OBSJSONValue(double v) : value_(v) {}
  OBSJSONValue(bool v) : value_(v) {}
  OBSJSONValue(Object v) : value_(std::move(v)) {}
  OBSJSONValue(Array v) : value_(std::move(v)) {}

  Case kind() const { return static_cast<Case>(value_.index()); }
  bool isNull() const { return kind() == Case::null; }
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const std::int64_t* int_() const { return std::get_if<std::int64_t>(&value_); }
  const double* double_() const { return std::get_if<double>(&value_); }
  const bool* bool_() const { return std::get_if<bool>(&value_); }
  const Object* object() const { return std::get_if<Object>(&value_); }
  const Array* array() const { return std::get_if<Array>(&value_); }

  friend bool operator==(const OBSJSONValue&, const OBSJSONValue&) = default;

 private:
  std::variant<std::string, std::int64_t, double, bool, Object, Array, std::nullptr_t> value_;
};

/// One item of a scene or group: a placed reference to a source. Keys with a default never fail the
/// item (a missing or unreadable value takes the default); the optional ones fail it when their value
/// has the wrong type.
struct OBSSceneItem {
  std::optional<std::string> name;
  std::optional<std::string> sourceUUID;
  bool visible = true;
  bool locked = false;
  double rot = 0;               // degrees
  std::int64_t align = 5;       // bit mask: left and top
  std::int64_t boundsType = 0;
  double cropLeft = 0;
  double cropTop = 0;
  double cropRight = 0;
  double cropBottom = 0;
  std::optional<OBSVec2> pos;
  std::optional<OBSVec2> scale;
  std::optional<OBSVec2> bounds;
  std::optional<OBSVec2> posRel;
  std::optional<OBSVec2> scaleRel;
  std::optional<OBSVec2> boundsRel;
  std::optional<OBSVec2> scaleRef;
  bool groupItemBackup = false;

  friend bool operator==(const OBSSceneItem&, const OBSSceneItem&) = default;
};

/// A source's settings: every key but "items" in `values`, and the scene or group items, absent when
/// "items" is missing or any of its elements cannot be read.
struct OBSSettings {
  OBSJSONValue::Object values;
  std::optional<std::vector<OBSSceneItem>> items;

  /// Typed lookups by the stored value's case; absent for a missing key or a case that does not convert.
  /// `string`: a text only. `double_`: a number, or 1.0/0.0 for a Boolean. `int_`: an integer, a double
  /// truncated toward zero (absent when not finite or out of range), or 1/0 for a Boolean. `uint32`:
  /// the low 32 bits of `int_`. `bool_`: a Boolean, or an integer other than 0. `object`: an object.
  std::optional<std::string> string(std::string_view key) const;
  std::optional<double> double_(std::string_view key) const;
  std::optional<std::int64_t> int_(std::string_view key) const;
  std::optional<std::uint32_t> uint32(std::string_view key) const;
  std::optional<bool> bool_(std::string_view key) const;
  const OBSJSONValue::Object* object(std::string_view key) const;

  friend bool operator==(const OBSSettings&, const OBSSettings&) = default;
};

/// A source, a scene or a group. `id` is the OBS kind ("image_source", "scene", "group", ...).
struct OBSSource {
  std::optional<std::string> id;
  std::optional<std::string> versionedId;
  std::optional<std::string> name;
  std::optional<std::string> uuid;
  std::optional<OBSSettings> settings;

  friend bool operator==(const OBSSource&, const OBSSource&) = default;
};

class OBSFlattenedEntry;
struct OBSResolvedItem;

/// One record of "scene_order".
struct OBSSceneRef {
  std::optional<std::string> name;
};

/// A whole collection file. Plain value; the caller owns it.
struct OBSCollection {
  std::optional<std::string> name;
  std::optional<std::int64_t> version;
  std::optional<OBSVec2> resolution;
  std::vector<OBSSource> sources;
  std::vector<OBSSource> groups;
  std::vector<std::string> sceneOrder;
  /// The global audio devices OBS keeps outside "sources": the top-level "DesktopAudioDevice1" and
  /// "DesktopAudioDevice2", then "AuxAudioDevice1" to "AuxAudioDevice4", in that order. Items in scenes
  /// may show them ("Desktop Audio", "Mic/Aux"). A key whose value is not a readable source is skipped.
  std::vector<OBSSource> globalAudioSources;

  /// Reads a collection file. Throws DecodingError only when `bytes` are not JSON, the top level is not
  /// an object, or "name", "version" or "resolution" has the wrong type; every other fault is absorbed
  /// as described on the fields.
  static OBSCollection decode(std::string_view bytes);

  /// The global audio devices, then sources, then groups, by uuid and by name; a later one replaces an
  /// earlier one under the same key, so a group overrides a source of the same name, and a source a
  /// global device. The pointers are into this collection and live as
  /// long as it does, unchanged.
  struct SourceIndex {
    std::unordered_map<std::string_view, const OBSSource*> byUUID;
    std::unordered_map<std::string_view, const OBSSource*> byName;
  };
  SourceIndex sourceIndex() const;

  /// `resolution` when both of its sides are above 0, else 1920 by 1080.
  Size canvasSize() const;

  /// The canvas of a group that has a size of its own ("custom_size" true, "cx" and "cy" above 0);
  /// (0, 0) for every other source.
  static Size groupSpaceSize(const OBSSource& source);

  /// The items of the scene named `sceneName`, walked through nested groups (obs_conversion.hpp): one
  /// entry per item, plus one for each group entered or refused as a cycle. Empty when there is no such
  /// scene or it has no items. Entries point into this collection. A walk that would pass 100,000
  /// entries (possible only through groups repeated inside each other many levels deep) ends there.
  std::vector<OBSFlattenedEntry> flattenedEntries(std::string_view sceneName) const;
  /// The same with an index made once by sourceIndex(), for walking many scenes of one collection.
  std::vector<OBSFlattenedEntry> flattenedEntries(std::string_view sceneName, const SourceIndex& index) const;
  /// The resolved items of flattenedEntries, in order.
  std::vector<OBSResolvedItem> flattenedItems(std::string_view sceneName) const;

  friend bool operator==(const OBSCollection&, const OBSCollection&) = default;
};

}  // namespace tav
