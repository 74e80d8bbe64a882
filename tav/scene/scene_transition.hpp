// How a scene changes to the next one, and the planning of joins when clips are combined: the list of
// transitions that follows a list of clips through edits, and how far each join may overlap.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/enum_table.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// The kinds of transition. `none` is a hard cut and is stored as "cut".
enum class SceneTransitionType {
  none,
  dissolve,
  morph,
  wipeLeft,
  wipeRight,
  wipeUp,
  wipeDown,
  pushLeft,
  pushRight,
  pushUp,
  pushDown,
  fadeBlack,
  pixelate,
  radial,
  swirl,
  noiseDissolve,
  blinds,
  pageCurl,
  glitch,
  mosaic,
  tileFlip,
  burn,
  reveal,
};

template <>
struct EnumTraits<SceneTransitionType> {
  using E = SceneTransitionType;
  static constexpr std::array cases{
      EnumCase<E>{E::none, "cut"},           EnumCase<E>{E::dissolve, "dissolve"},
      EnumCase<E>{E::morph, "morph"},        EnumCase<E>{E::wipeLeft, "wipeLeft"},
      EnumCase<E>{E::wipeRight, "wipeRight"}, EnumCase<E>{E::wipeUp, "wipeUp"},
      EnumCase<E>{E::wipeDown, "wipeDown"},  EnumCase<E>{E::pushLeft, "pushLeft"},
      EnumCase<E>{E::pushRight, "pushRight"}, EnumCase<E>{E::pushUp, "pushUp"},
      EnumCase<E>{E::pushDown, "pushDown"},  EnumCase<E>{E::fadeBlack, "fadeBlack"},
      EnumCase<E>{E::pixelate, "pixelate"},  EnumCase<E>{E::radial, "radial"},
      EnumCase<E>{E::swirl, "swirl"},        EnumCase<E>{E::noiseDissolve, "noiseDissolve"},
      EnumCase<E>{E::blinds, "blinds"},      EnumCase<E>{E::pageCurl, "pageCurl"},
      EnumCase<E>{E::glitch, "glitch"},      EnumCase<E>{E::mosaic, "mosaic"},
      EnumCase<E>{E::tileFlip, "tileFlip"},  EnumCase<E>{E::burn, "burn"},
      EnumCase<E>{E::reveal, "reveal"}};
};

/// The localised title ("None", "Dissolve", "Fade Through Black", ...).
std::string displayName(SceneTransitionType type);

/// The transition a scene asks for, with an optional duration in seconds.
struct SceneTransitionConfig {
  SceneTransitionType type = SceneTransitionType::dissolve;
  std::optional<double> duration;

  /// Dissolve, no duration.
  static SceneTransitionConfig default_() { return SceneTransitionConfig{SceneTransitionType::dissolve, std::nullopt}; }

  /// The durations offered to the user, in seconds: 0.25, 0.5, 0.75, 1.0, 1.5, 2.0.
  static constexpr std::array<double, 6> availableDurations{0.25, 0.5, 0.75, 1.0, 1.5, 2.0};

  /// "0.25s", "1.5s", "2.0s": two decimals unless the hundredths are a whole tenth.
  static std::string formattedDuration(double seconds);

  friend bool operator==(const SceneTransitionConfig&, const SceneTransitionConfig&) = default;
};

/// {"type": raw text, "duration": number (when present)}. An unknown "type" fails.
template <>
struct JsonCoder<SceneTransitionConfig> {
  static SceneTransitionConfig decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneTransitionConfig& v);
};

// A list of transitions belongs to a list of n clips: entry i is the join between clip i and clip
// i + 1, so a list in good order has max(n - 1, 0) entries. `none` is a hard cut.

/// Exactly `count` entries: cut to size, or padded with `none`. A negative count is taken as 0.
std::vector<SceneTransitionType> normalised(const std::vector<SceneTransitionType>& transitions, int count);

/// The list after the clip at `from` moved to `to`: each transition travels with the clip it follows.
/// Gives max(newClipCount - 1, 0) entries; with `from` out of range, the list normalised to that count.
std::vector<SceneTransitionType> reorderedFollowingClip(const std::vector<SceneTransitionType>& transitions, int from,
                                                        int to, int newClipCount);

/// The list after the clip at `index` was removed: the transition that followed it goes too. Gives at
/// most max(newClipCount - 1, 0) entries.
std::vector<SceneTransitionType> removingClip(const std::vector<SceneTransitionType>& transitions, int index,
                                              int newClipCount);

namespace CombineTransitionPlanner {

/// For each join of clips with `durations`, the seconds by which the two clips overlap: for a join with
/// a transition other than `none`, the smallest of half of either clip and `base`, never below 0; for a
/// cut or a join without an entry, 0. Empty for fewer than two clips. No clip loses more than half
/// its length to one join, so the two joins of a clip never meet.
std::vector<double> clampedOverlapSeconds(const std::vector<double>& durations,
                                          const std::vector<SceneTransitionType>& transitions, double base);

}  // namespace CombineTransitionPlanner

}  // namespace tav

template <>
struct std::hash<tav::SceneTransitionConfig> {
  std::size_t operator()(const tav::SceneTransitionConfig& c) const noexcept {
    return tav::hashValues(c.type, c.duration);
  }
};
