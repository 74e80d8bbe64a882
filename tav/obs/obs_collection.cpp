#include "tav/obs/obs_collection.hpp"

#include <cmath>
#include <utility>

#include <boost/json/monotonic_resource.hpp>

#include "tav/contracts/decoding_error.hpp"
#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/json_path.hpp"
#include "tav/contracts/json_value.hpp"

namespace tav {
namespace {

// Every reader below returns false (or an empty optional) for a value it cannot take, and leaves the
// decision of what that costs (the default, the record, the whole list) to its caller.

std::string_view textOf(const boost::json::string& s) { return {s.data(), s.size()}; }

const JsonValue* member(const JsonObject& object, std::string_view key) {
  auto it = object.find(key);
  return it == object.end() ? nullptr : &it->value();
}

bool readNumber(const JsonValue& json, double& out) {
  if (json.is_double()) {
    out = json.get_double();
  } else if (json.is_int64()) {
    out = static_cast<double>(json.get_int64());
  } else if (json.is_uint64()) {
    out = static_cast<double>(json.get_uint64());
  } else {
    return false;
  }
  return true;
}

// An integer from any JSON number holding an integral value that fits 64 bits: 5 and 5.0, not 5.5.
bool readInteger(const JsonValue& json, std::int64_t& out) {
  if (json.is_int64()) {
    out = json.get_int64();
    return true;
  }
  if (json.is_uint64()) return false;  // above INT64_MAX
  if (!json.is_double()) return false;
  const double d = json.get_double();
  if (!std::isfinite(d) || d != std::trunc(d) || d < -9223372036854775808.0 || d >= 9223372036854775808.0) return false;
  out = static_cast<std::int64_t>(d);
  return true;
}

// Optional text: missing or null is absent (true); another type fails (false).
bool readOptionalText(const JsonObject& object, std::string_view key, std::optional<std::string>& out) {
  const JsonValue* json = member(object, key);
  if (json == nullptr || json->is_null()) return true;
  if (!json->is_string()) return false;
  out = std::string(textOf(json->get_string()));
  return true;
}

bool readVec2(const JsonValue& json, OBSVec2& out) {
  if (!json.is_object()) return false;
  const JsonObject& object = json.get_object();
  const JsonValue* x = member(object, "x");
  const JsonValue* y = member(object, "y");
  return x != nullptr && y != nullptr && readNumber(*x, out.x) && readNumber(*y, out.y);
}

bool readOptionalVec2(const JsonObject& object, std::string_view key, std::optional<OBSVec2>& out) {
  const JsonValue* json = member(object, key);
  if (json == nullptr || json->is_null()) return true;
  OBSVec2 value;
  if (!readVec2(*json, value)) return false;
  out = value;
  return true;
}

OBSJSONValue readAnyValue(const JsonValue& json) {
  switch (json.kind()) {
    case boost::json::kind::null:
      return OBSJSONValue();
    case boost::json::kind::bool_:
      return OBSJSONValue(json.get_bool());
    case boost::json::kind::int64:
    case boost::json::kind::uint64:
    case boost::json::kind::double_: {
      std::int64_t integer = 0;
      if (readInteger(json, integer)) return OBSJSONValue(integer);
      double number = 0;
      readNumber(json, number);
      return OBSJSONValue(number);
    }
    case boost::json::kind::string:
      return OBSJSONValue(std::string(textOf(json.get_string())));
    case boost::json::kind::object: {
      OBSJSONValue::Object object;
      for (const auto& m : json.get_object()) object.insert_or_assign(std::string(m.key()), readAnyValue(m.value()));
      return OBSJSONValue(std::move(object));
    }
    case boost::json::kind::array: {
      OBSJSONValue::Array array;
      array.reserve(json.get_array().size());
      for (const auto& element : json.get_array()) array.push_back(readAnyValue(element));
      return OBSJSONValue(std::move(array));
    }
  }
  return OBSJSONValue();
}

enum class ItemKey {
  other, name, sourceUUID, visible, locked, rot, align, boundsType, cropLeft, cropTop, cropRight, cropBottom, pos,
  scale, bounds, posRel, scaleRel, boundsRel, scaleRef, groupItemBackup
};

// Items are read in one pass over their members (an item has some twenty keys; looking each one up
// would scan the object twenty times).
ItemKey itemKey(std::string_view key) {
  static constexpr std::pair<std::string_view, ItemKey> kKeys[] = {
      {"name", ItemKey::name},          {"source_uuid", ItemKey::sourceUUID},
      {"visible", ItemKey::visible},    {"locked", ItemKey::locked},
      {"rot", ItemKey::rot},            {"align", ItemKey::align},
      {"bounds_type", ItemKey::boundsType}, {"crop_left", ItemKey::cropLeft},
      {"crop_top", ItemKey::cropTop},   {"crop_right", ItemKey::cropRight},
      {"crop_bottom", ItemKey::cropBottom}, {"pos", ItemKey::pos},
      {"scale", ItemKey::scale},        {"bounds", ItemKey::bounds},
      {"pos_rel", ItemKey::posRel},     {"scale_rel", ItemKey::scaleRel},
      {"bounds_rel", ItemKey::boundsRel}, {"scale_ref", ItemKey::scaleRef},
      {"group_item_backup", ItemKey::groupItemBackup},
  };
  for (const auto& [text, value] : kKeys) {
    if (text.size() == key.size() && text[0] == key[0] && text == key) return value;
  }
  return ItemKey::other;
}

// Optional text: null is absent (true); another type fails (false).
bool takeOptionalText(const JsonValue& json, std::optional<std::string>& out) {
  if (json.is_null()) return true;
  if (!json.is_string()) return false;
  out = std::string(textOf(json.get_string()));
  return true;
}

bool takeOptionalVec2(const JsonValue& json, std::optional<OBSVec2>& out) {
  if (json.is_null()) return true;
  OBSVec2 value;
  if (!readVec2(json, value)) return false;
  out = value;
  return true;
}

void takeBool(const JsonValue& json, bool& out) {
  if (json.is_bool()) out = json.get_bool();
}

void takeInteger(const JsonValue& json, std::int64_t& out) {
  std::int64_t value = 0;
  if (readInteger(json, value)) out = value;
}

std::optional<OBSSceneItem> readItem(const JsonValue& json) {
  if (!json.is_object()) return std::nullopt;
  OBSSceneItem item;
  bool ok = true;
  for (const auto& m : json.get_object()) {
    const JsonValue& v = m.value();
    switch (itemKey(std::string_view(m.key().data(), m.key().size()))) {
      case ItemKey::other: break;
      case ItemKey::name: ok = takeOptionalText(v, item.name); break;
      case ItemKey::sourceUUID: ok = takeOptionalText(v, item.sourceUUID); break;
      case ItemKey::visible: takeBool(v, item.visible); break;
      case ItemKey::locked: takeBool(v, item.locked); break;
      case ItemKey::rot: readNumber(v, item.rot); break;
      case ItemKey::align: takeInteger(v, item.align); break;
      case ItemKey::boundsType: takeInteger(v, item.boundsType); break;
      case ItemKey::cropLeft: readNumber(v, item.cropLeft); break;
      case ItemKey::cropTop: readNumber(v, item.cropTop); break;
      case ItemKey::cropRight: readNumber(v, item.cropRight); break;
      case ItemKey::cropBottom: readNumber(v, item.cropBottom); break;
      case ItemKey::pos: ok = takeOptionalVec2(v, item.pos); break;
      case ItemKey::scale: ok = takeOptionalVec2(v, item.scale); break;
      case ItemKey::bounds: ok = takeOptionalVec2(v, item.bounds); break;
      case ItemKey::posRel: ok = takeOptionalVec2(v, item.posRel); break;
      case ItemKey::scaleRel: ok = takeOptionalVec2(v, item.scaleRel); break;
      case ItemKey::boundsRel: ok = takeOptionalVec2(v, item.boundsRel); break;
      case ItemKey::scaleRef: ok = takeOptionalVec2(v, item.scaleRef); break;
      case ItemKey::groupItemBackup: takeBool(v, item.groupItemBackup); break;
    }
    if (!ok) return std::nullopt;
  }
  return item;
}

std::optional<std::vector<OBSSceneItem>> readItems(const JsonValue& json) {
  if (!json.is_array()) return std::nullopt;
  std::vector<OBSSceneItem> items;
  items.reserve(json.get_array().size());
  for (const auto& element : json.get_array()) {
    auto item = readItem(element);
    if (!item) return std::nullopt;  // one bad item loses the whole list
    items.push_back(*std::move(item));
  }
  return items;
}

std::optional<OBSSettings> readSettings(const JsonValue& json) {
  if (!json.is_object()) return std::nullopt;
  OBSSettings settings;
  for (const auto& m : json.get_object()) {
    const std::string_view key(m.key().data(), m.key().size());
    if (key == "items") {
      settings.items = readItems(m.value());
    } else {
      settings.values.insert_or_assign(std::string(key), readAnyValue(m.value()));
    }
  }
  return settings;
}

std::optional<OBSSource> readSource(const JsonValue& json) {
  if (!json.is_object()) return std::nullopt;
  OBSSource source;
  for (const auto& m : json.get_object()) {
    const std::string_view key(m.key().data(), m.key().size());
    const JsonValue& v = m.value();
    bool ok = true;
    if (key == "id") {
      ok = takeOptionalText(v, source.id);
    } else if (key == "name") {
      ok = takeOptionalText(v, source.name);
    } else if (key == "uuid") {
      ok = takeOptionalText(v, source.uuid);
    } else if (key == "versioned_id") {
      ok = takeOptionalText(v, source.versionedId);
    } else if (key == "settings" && !v.is_null()) {
      source.settings = readSettings(v);
      ok = source.settings.has_value();
    }
    if (!ok) return std::nullopt;
  }
  return source;
}

// A list of sources; one bad element, or anything but an array, gives an empty list.
std::vector<OBSSource> readSources(const JsonValue* json) {
  std::vector<OBSSource> sources;
  if (json == nullptr || !json->is_array()) return sources;
  sources.reserve(json->get_array().size());
  for (const auto& element : json->get_array()) {
    auto source = readSource(element);
    if (!source) return {};
    sources.push_back(*std::move(source));
  }
  return sources;
}

std::vector<std::string> readSceneOrder(const JsonValue* json) {
  std::vector<std::string> names;
  if (json == nullptr || !json->is_array()) return names;
  for (const auto& element : json->get_array()) {
    if (!element.is_object()) return {};
    std::optional<std::string> name;
    if (!readOptionalText(element.get_object(), "name", name)) return {};
    if (name) names.push_back(*std::move(name));
  }
  return names;
}

const OBSJSONValue* lookup(const OBSJSONValue::Object& values, std::string_view key) {
  auto it = values.find(key);
  return it == values.end() ? nullptr : &it->second;
}

}  // namespace

std::optional<std::string> OBSSettings::string(std::string_view key) const {
  const OBSJSONValue* value = lookup(values, key);
  if (value == nullptr || value->string() == nullptr) return std::nullopt;
  return *value->string();
}

std::optional<double> OBSSettings::double_(std::string_view key) const {
  const OBSJSONValue* value = lookup(values, key);
  if (value == nullptr) return std::nullopt;
  if (const auto* i = value->int_()) return static_cast<double>(*i);
  if (const auto* d = value->double_()) return *d;
  if (const auto* b = value->bool_()) return *b ? 1.0 : 0.0;
  return std::nullopt;
}

std::optional<std::int64_t> OBSSettings::int_(std::string_view key) const {
  const OBSJSONValue* value = lookup(values, key);
  if (value == nullptr) return std::nullopt;
  if (const auto* i = value->int_()) return *i;
  if (const auto* d = value->double_()) {
    const double t = std::trunc(*d);
    if (!std::isfinite(t) || t < -9223372036854775808.0 || t >= 9223372036854775808.0) return std::nullopt;
    return static_cast<std::int64_t>(t);
  }
  if (const auto* b = value->bool_()) return *b ? 1 : 0;
  return std::nullopt;
}

std::optional<std::uint32_t> OBSSettings::uint32(std::string_view key) const {
  auto value = int_(key);
  if (!value) return std::nullopt;
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(*value) & 0xFFFFFFFFu);
}

std::optional<bool> OBSSettings::bool_(std::string_view key) const {
  const OBSJSONValue* value = lookup(values, key);
  if (value == nullptr) return std::nullopt;
  if (const auto* i = value->int_()) return *i != 0;
  if (const auto* b = value->bool_()) return *b;
  return std::nullopt;
}

const OBSJSONValue::Object* OBSSettings::object(std::string_view key) const {
  const OBSJSONValue* value = lookup(values, key);
  return value == nullptr ? nullptr : value->object();
}

OBSCollection OBSCollection::decode(std::string_view bytes) {
  boost::json::monotonic_resource resource(bytes.size() + 4096);
  const JsonValue json = parseJson(bytes, &resource);
  if (!json.is_object()) throw DecodingError(JsonPath::root(), "expected an object");
  const JsonObject& object = json.get_object();
  const JsonPath& root = JsonPath::root();

  OBSCollection collection;
  if (!readOptionalText(object, "name", collection.name)) throw DecodingError(root.key("name"), "expected a string");
  if (const JsonValue* version = member(object, "version"); version != nullptr && !version->is_null()) {
    std::int64_t value = 0;
    if (!readInteger(*version, value)) throw DecodingError(root.key("version"), "expected an integer");
    collection.version = value;
  }
  if (!readOptionalVec2(object, "resolution", collection.resolution)) {
    throw DecodingError(root.key("resolution"), "expected an object with numbers \"x\" and \"y\"");
  }
  collection.sources = readSources(member(object, "sources"));
  collection.groups = readSources(member(object, "groups"));
  collection.sceneOrder = readSceneOrder(member(object, "scene_order"));
  for (const char* key : {"DesktopAudioDevice1", "DesktopAudioDevice2", "AuxAudioDevice1", "AuxAudioDevice2",
                          "AuxAudioDevice3", "AuxAudioDevice4"}) {
    const JsonValue* device = member(object, key);
    if (device == nullptr) continue;
    if (auto source = readSource(*device)) collection.globalAudioSources.push_back(*std::move(source));
  }
  return collection;
}

OBSCollection::SourceIndex OBSCollection::sourceIndex() const {
  SourceIndex index;
  const std::size_t count = globalAudioSources.size() + sources.size() + groups.size();
  index.byUUID.reserve(count);
  index.byName.reserve(count);
  for (const auto* list : {&globalAudioSources, &sources, &groups}) {
    for (const OBSSource& source : *list) {
      if (source.uuid) index.byUUID.insert_or_assign(std::string_view(*source.uuid), &source);
      if (source.name) index.byName.insert_or_assign(std::string_view(*source.name), &source);
    }
  }
  return index;
}

Size OBSCollection::canvasSize() const {
  if (resolution && resolution->x > 0 && resolution->y > 0) return Size{resolution->x, resolution->y};
  return Size{1920, 1080};
}

Size OBSCollection::groupSpaceSize(const OBSSource& source) {
  if (!source.settings) return Size{0, 0};
  const OBSSettings& settings = *source.settings;
  auto customSize = settings.bool_("custom_size");
  auto cx = settings.double_("cx");
  auto cy = settings.double_("cy");
  if (customSize.value_or(false) && cx && cy && *cx > 0 && *cy > 0) return Size{*cx, *cy};
  return Size{0, 0};
}

}  // namespace tav
