// The group records stored in a scene format: folders and split-video groups, and an element's
// membership in one of them. The questions asked of these records and the operations on them live
// with the scene structure.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {

enum class SceneElementGroupKind { splitVideo, folder };

template <>
struct EnumTraits<SceneElementGroupKind> {
  static constexpr std::array cases{EnumCase<SceneElementGroupKind>{SceneElementGroupKind::splitVideo, "splitVideo"},
                                    EnumCase<SceneElementGroupKind>{SceneElementGroupKind::folder, "folder"}};
};

enum class SceneElementGroupRole { splitForeground, splitBackground };

template <>
struct EnumTraits<SceneElementGroupRole> {
  static constexpr std::array cases{
      EnumCase<SceneElementGroupRole>{SceneElementGroupRole::splitForeground, "splitForeground"},
      EnumCase<SceneElementGroupRole>{SceneElementGroupRole::splitBackground, "splitBackground"}};
};

/// Which group an element stands in; `role` is set only for the two bookends of a split video.
/// JSON: {"groupID": UUID, "role": text when present}.
struct SceneElementGroupMembership {
  Uuid groupID;
  std::optional<SceneElementGroupRole> role;

  friend bool operator==(const SceneElementGroupMembership&, const SceneElementGroupMembership&) = default;
};

/// A folder or a split-video group of one format. `isCollapsed` and `lockAspectRatio` are stored
/// and copied for the host; no operation decides anything by them.
/// JSON keys in this order: "id", "kind", "name"?, "isCollapsed", "parentGroupID"?, "lockAspectRatio"?,
/// "isMask"?; decoding is strict about the required ones and about the enumerations' texts.
struct SceneElementGroup {
  Uuid id;
  SceneElementGroupKind kind = SceneElementGroupKind::folder;
  std::optional<std::string> name;
  bool isCollapsed = false;
  /// The enclosing folder.
  std::optional<Uuid> parentGroupID;
  std::optional<bool> lockAspectRatio;
  /// A new folder stores true or nothing, never false.
  std::optional<bool> isMask;

  /// True only when `isMask` is present and true.
  bool isMaskGroup() const { return isMask.value_or(false); }
  /// A copy under a new id and parent, every other field kept.
  SceneElementGroup reborn(const Uuid& newID, std::optional<Uuid> newParentGroupID) const {
    SceneElementGroup copy = *this;
    copy.id = newID;
    copy.parentGroupID = newParentGroupID;
    return copy;
  }

  friend bool operator==(const SceneElementGroup&, const SceneElementGroup&) = default;
};

template <>
struct JsonCoder<SceneElementGroupMembership> {
  static SceneElementGroupMembership decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementGroupMembership& v);
};

template <>
struct JsonCoder<SceneElementGroup> {
  static SceneElementGroup decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementGroup& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementGroupMembership> {
  std::size_t operator()(const tav::SceneElementGroupMembership& m) const noexcept {
    return std::hash<tav::Uuid>()(m.groupID) ^ (m.role ? static_cast<std::size_t>(*m.role) + 1 : 0);
  }
};

template <>
struct std::hash<tav::SceneElementGroup> {
  std::size_t operator()(const tav::SceneElementGroup& g) const noexcept {
    return std::hash<tav::Uuid>()(g.id) * 31 + static_cast<std::size_t>(g.kind);
  }
};
