// The settings of a web layer: a page shown at a chosen page size, with or without its sound.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/url.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// The size at which a web page is laid out: a fixed width and height in pixels, or whatever the active
/// output profile is.
class PageSize {
 public:
  struct Preset {
    int width = 0;
    int height = 0;
    friend bool operator==(const Preset&, const Preset&) = default;
  };
  struct MatchProfile {
    friend bool operator==(const MatchProfile&, const MatchProfile&) = default;
  };

  /// A fixed size of `width` by `height` pixels.
  static PageSize preset(int width, int height) { return PageSize(Preset{width, height}); }
  /// The resolution of the active output profile, whatever it is when the page is laid out.
  static PageSize matchProfile() { return PageSize(MatchProfile{}); }

  /// The three presets the host offers by name.
  static PageSize p1920x1080() { return preset(1920, 1080); }
  static PageSize p1280x720() { return preset(1280, 720); }
  static PageSize p854x480() { return preset(854, 480); }

  bool isPreset() const { return std::holds_alternative<Preset>(value_); }
  bool isMatchProfile() const { return std::holds_alternative<MatchProfile>(value_); }
  /// The width and height of a preset; nullptr for matchProfile.
  const Preset* presetValue() const { return std::get_if<Preset>(&value_); }

  /// "Match profile" (localised) for matchProfile; "<width> x <height>" for a preset.
  std::string title() const;
  /// True for a preset other than the three named ones.
  bool isCustom() const;
  /// A preset's width and height. For matchProfile, the resolution of the active output profile as the
  /// installed provider reports it (see setActiveProfileSizeProvider); absent while none is installed
  /// or the provider has no answer.
  std::optional<Size> size() const;

  friend bool operator==(const PageSize&, const PageSize&) = default;

 private:
  explicit PageSize(std::variant<Preset, MatchProfile> value) : value_(value) {}
  std::variant<Preset, MatchProfile> value_;
};

/// Tells PageSize::matchProfile the resolution of the active output profile: the stored profile whose
/// id is the selected one, else the first default profile. The output profiles install it when they
/// are set up; an empty function removes it. Thread-safe.
void setActiveProfileSizeProvider(std::function<std::optional<Size>()> provider);

/// {"preset": {"width": integer, "height": integer}} or {"matchProfile": {}}. Reading needs exactly one
/// of the two keys (others are ignored) and both "width" and "height" of a preset.
template <>
struct JsonCoder<PageSize> {
  static PageSize decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const PageSize& v);
};

struct SceneElementWebSettings {
  std::optional<Url> url;
  std::optional<PageSize> pageSize;
  /// True when the page's own sound is kept out of the mix.
  bool audioRemoved = false;

  /// Takes `url` and `pageSize` when `incoming` has them. `audioRemoved` is not changed by an update.
  void merge(const SceneElementWebSettings& incoming);

  friend bool operator==(const SceneElementWebSettings&, const SceneElementWebSettings&) = default;
};

/// {"url", "pageSize", "audioRemoved"}: the first two only when present, "audioRemoved" always.
/// A missing "audioRemoved" reads as false.
template <>
struct JsonCoder<SceneElementWebSettings> {
  static SceneElementWebSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementWebSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::PageSize> {
  std::size_t operator()(const tav::PageSize& p) const noexcept {
    if (const auto* preset = p.presetValue()) return tav::hashValues(0, preset->width, preset->height);
    return tav::hashValues(1);
  }
};

template <>
struct std::hash<tav::SceneElementWebSettings> {
  std::size_t operator()(const tav::SceneElementWebSettings& s) const noexcept {
    std::optional<std::string> url;
    if (s.url) url = s.url->absoluteString();
    return tav::hashValues(url, s.pageSize, s.audioRemoved);
  }
};
