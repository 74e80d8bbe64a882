#include "tav/scene/scene_transition.hpp"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "tav/contracts/localizer.hpp"

namespace tav {

namespace {

struct TransitionTitle {
  SceneTransitionType type;
  std::string_view key;
  std::string_view defaultTitle;
};

constexpr std::array<TransitionTitle, 23> kTitles{{
    {SceneTransitionType::none, "TRANSITION_NONE", "None"},
    {SceneTransitionType::dissolve, "TRANSITION_DISSOLVE", "Dissolve"},
    {SceneTransitionType::morph, "TRANSITION_MORPH", "Morph"},
    {SceneTransitionType::wipeLeft, "TRANSITION_WIPE_LEFT", "Wipe Left"},
    {SceneTransitionType::wipeRight, "TRANSITION_WIPE_RIGHT", "Wipe Right"},
    {SceneTransitionType::wipeUp, "TRANSITION_WIPE_UP", "Wipe Up"},
    {SceneTransitionType::wipeDown, "TRANSITION_WIPE_DOWN", "Wipe Down"},
    {SceneTransitionType::pushLeft, "TRANSITION_PUSH_LEFT", "Push Left"},
    {SceneTransitionType::pushRight, "TRANSITION_PUSH_RIGHT", "Push Right"},
    {SceneTransitionType::pushUp, "TRANSITION_PUSH_UP", "Push Up"},
    {SceneTransitionType::pushDown, "TRANSITION_PUSH_DOWN", "Push Down"},
    {SceneTransitionType::fadeBlack, "TRANSITION_FADE_BLACK", "Fade Through Black"},
    {SceneTransitionType::pixelate, "TRANSITION_PIXELATE", "Pixelate"},
    {SceneTransitionType::radial, "TRANSITION_RADIAL", "Radial"},
    {SceneTransitionType::swirl, "TRANSITION_SWIRL", "Swirl"},
    {SceneTransitionType::noiseDissolve, "TRANSITION_NOISE_DISSOLVE", "Noise Dissolve"},
    {SceneTransitionType::blinds, "TRANSITION_BLINDS", "Blinds"},
    {SceneTransitionType::pageCurl, "TRANSITION_PAGE_CURL", "Page Curl"},
    {SceneTransitionType::glitch, "TRANSITION_GLITCH", "Glitch"},
    {SceneTransitionType::mosaic, "TRANSITION_MOSAIC", "Mosaic"},
    {SceneTransitionType::tileFlip, "TRANSITION_TILE_FLIP", "Tile Flip"},
    {SceneTransitionType::burn, "TRANSITION_BURN", "Burn"},
    {SceneTransitionType::reveal, "TRANSITION_REVEAL", "Reveal"},
}};

constexpr bool titlesFollowCaseOrder() {
  for (std::size_t i = 0; i < kTitles.size(); ++i) {
    if (EnumTraits<SceneTransitionType>::cases[i].value != kTitles[i].type) return false;
  }
  return kTitles.size() == EnumTraits<SceneTransitionType>::cases.size();
}
static_assert(titlesFollowCaseOrder());

std::size_t clipJoinCount(int clipCount) { return clipCount > 1 ? static_cast<std::size_t>(clipCount - 1) : 0; }

}  // namespace

std::string displayName(SceneTransitionType type) {
  const auto& title = kTitles[caseIndex(type)];
  return localizedText(title.key, title.defaultTitle);
}

std::string SceneTransitionConfig::formattedDuration(double seconds) {
  // 0.3 is shown "0.3s", not "0.30s"; the check goes by whole hundredths so 1.0000001 is "1.0s".
  // Durations beyond any integer (or not numbers) have no hundredths to speak of: one decimal.
  bool wholeTenths = !std::isfinite(seconds) || std::fabs(seconds) >= 1e15 || std::llround(seconds * 100) % 10 == 0;
  return wholeTenths ? fmt::format("{:.1f}s", seconds) : fmt::format("{:.2f}s", seconds);
}

SceneTransitionConfig JsonCoder<SceneTransitionConfig>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneTransitionConfig config;
  config.type = reader.required<SceneTransitionType>("type");
  config.duration = reader.optional<double>("duration");
  return config;
}

void JsonCoder<SceneTransitionConfig>::encode(JsonWriter& w, const SceneTransitionConfig& v) {
  w.beginObject();
  w.field("type", v.type);
  w.optionalField("duration", v.duration);
  w.endObject();
}

std::vector<SceneTransitionType> normalised(const std::vector<SceneTransitionType>& transitions, int count) {
  std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
  std::vector<SceneTransitionType> result = transitions;
  result.resize(n, SceneTransitionType::none);
  return result;
}

std::vector<SceneTransitionType> reorderedFollowingClip(const std::vector<SceneTransitionType>& transitions, int from,
                                                        int to, int newClipCount) {
  std::size_t keep = clipJoinCount(newClipCount);
  // The last clip has no join after it; a cut stands in for it so that every clip carries one entry.
  std::vector<SceneTransitionType> padded = transitions;
  padded.push_back(SceneTransitionType::none);
  if (from < 0 || static_cast<std::size_t>(from) >= padded.size()) {
    return normalised(transitions, static_cast<int>(keep));
  }
  SceneTransitionType moved = padded[static_cast<std::size_t>(from)];
  padded.erase(padded.begin() + from);
  std::size_t destination = to < 0 ? 0 : std::min(static_cast<std::size_t>(to), padded.size());
  padded.insert(padded.begin() + static_cast<std::ptrdiff_t>(destination), moved);
  if (padded.size() > keep) padded.resize(keep);
  return padded;
}

std::vector<SceneTransitionType> removingClip(const std::vector<SceneTransitionType>& transitions, int index,
                                              int newClipCount) {
  std::vector<SceneTransitionType> padded = transitions;
  padded.push_back(SceneTransitionType::none);
  if (index >= 0 && static_cast<std::size_t>(index) < padded.size()) padded.erase(padded.begin() + index);
  std::size_t keep = clipJoinCount(newClipCount);
  if (padded.size() > keep) padded.resize(keep);
  return padded;
}

namespace CombineTransitionPlanner {

std::vector<double> clampedOverlapSeconds(const std::vector<double>& durations,
                                          const std::vector<SceneTransitionType>& transitions, double base) {
  std::vector<double> overlaps;
  if (durations.size() < 2) return overlaps;
  overlaps.reserve(durations.size() - 1);
  for (std::size_t i = 0; i + 1 < durations.size(); ++i) {
    double overlap = 0;
    if (i < transitions.size() && transitions[i] != SceneTransitionType::none) {
      overlap = std::max(0.0, std::min({durations[i] * 0.5, durations[i + 1] * 0.5, base}));
    }
    overlaps.push_back(overlap);
  }
  return overlaps;
}

}  // namespace CombineTransitionPlanner

}  // namespace tav
