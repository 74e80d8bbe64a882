#include "tav/profiles/profile.hpp"

#include <array>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "tav/contracts/localizer.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {

namespace {

using Resolution = Profile::Resolution;

double roundedToHundredths(double v) { return std::round(v * 100) / 100; }

bool isTall(AspectRatio aspect) {
  return aspect == AspectRatio::portrait || aspect == AspectRatio::threeByFour || aspect == AspectRatio::square;
}

// The first entry of `options` that `matches`, else `fallback`.
template <class Match>
Resolution firstOr(const std::vector<Resolution>& options, Match matches, Resolution fallback) {
  for (const Resolution& entry : options) {
    if (matches(entry)) return entry;
  }
  return fallback;
}

}  // namespace

AspectRatio Resolution::aspectRatio() const {
  const double r = roundedToHundredths(static_cast<double>(width) / height);
  for (AspectRatio aspect : allNonunknownCases<AspectRatio>()) {
    if (roundedToHundredths(value(aspect)) == r) return aspect;
  }
  return AspectRatio::landscape;
}

std::string Resolution::title() const {
  struct Standard {
    int longSide, shortSide;
    const char* prefix;
    const char* suffix;
  };
  static constexpr std::array<Standard, 4> standards{{{3840, 2160, "4K", "UHD"},
                                                      {2560, 1440, "1440p", "QHD"},
                                                      {1920, 1080, "1080p", "FHD"},
                                                      {1280, 720, "720p", "HD"}}};
  const std::string_view aspectTitle = tav::title(aspectRatio());
  for (const Standard& s : standards) {
    if ((width == s.longSide && height == s.shortSide) || (width == s.shortSide && height == s.longSide)) {
      return fmt::format("{} {} ({})", s.prefix, aspectTitle, s.suffix);
    }
  }
  return fmt::format("{}x{} {}", width, height, aspectTitle);
}

Resolution Resolution::converted(AspectRatio target) const {
  const int w = width;
  const int h = height;
  const AspectRatio own = aspectRatio();
  // value() reads unknown as 16/9, which is how both sides of the comparison treat it.
  if (1 / value(own) == value(target)) return rotated();

  const bool tall = isTall(own);
  switch (target) {
    case AspectRatio::landscape:
      return firstOr(landscapeOptions(), [&](const Resolution& e) { return tall ? e.height == w : e.width == w; },
                     Resolution{1280, 720});
    case AspectRatio::portrait:
      return firstOr(portraitOptions(), [&](const Resolution& e) { return tall ? e.width == w : e.height == w; },
                     portraitOptions().back());
    case AspectRatio::fourByThree:
      return firstOr(landscapeFourThreeOptions(), [&](const Resolution& e) { return tall ? e.height == w : e.width == w; },
                     Resolution{640, 480});
    case AspectRatio::threeByFour:
      return firstOr(portraitFourThreeOptions(), [&](const Resolution& e) { return tall ? e.width == w : e.height == w; },
                     portraitFourThreeOptions().back());
    case AspectRatio::square:
      return firstOr(squareOptions(), [&](const Resolution& e) { return tall ? e.width == w : (e.width == w || e.width == h); },
                     Resolution{720, 720});
    case AspectRatio::unknown:
      break;
  }
  return *this;
}

const std::vector<Resolution>& Resolution::landscapeOptions() {
  static const std::vector<Resolution> options{{3840, 2160}, {2560, 1440}, {1920, 1080}, {1280, 720}};
  return options;
}
const std::vector<Resolution>& Resolution::portraitOptions() {
  static const std::vector<Resolution> options{{2160, 3840}, {1440, 2560}, {1080, 1920}, {720, 1280}};
  return options;
}
const std::vector<Resolution>& Resolution::landscapeFourThreeOptions() {
  static const std::vector<Resolution> options{{1920, 1440}, {1280, 960}, {640, 480}};
  return options;
}
const std::vector<Resolution>& Resolution::portraitFourThreeOptions() {
  static const std::vector<Resolution> options{{1440, 1920}, {960, 1280}, {480, 640}};
  return options;
}
const std::vector<Resolution>& Resolution::squareOptions() {
  static const std::vector<Resolution> options{{1440, 1440}, {1080, 1080}, {720, 720}};
  return options;
}

std::int32_t Profile::FrameRate::cmTimeTimescale() const {
  // Truncation toward zero; values a 32-bit timescale cannot hold are pinned to its ends (NaN to 0),
  // where a plain conversion would be undefined.
  if (std::isnan(value)) return 0;
  if (value >= static_cast<double>(std::numeric_limits<std::int32_t>::max())) {
    return std::numeric_limits<std::int32_t>::max();
  }
  if (value <= static_cast<double>(std::numeric_limits<std::int32_t>::min())) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(value);
}

std::string Profile::FrameRate::title() const {
  if (!std::isfinite(value)) return fmt::format("{}", value);  // the number's plain description
  std::string text = fmt::format("{:.2f}", value);
  while (text.back() == '0') text.pop_back();
  if (text.back() == '.') text.pop_back();
  if (text == "-0") text = "0";
  return text;
}

const std::vector<Profile::FrameRate>& Profile::FrameRate::options() {
  static const std::vector<FrameRate> options{{5}, {15}, {20}, {24}, {25}, {29.97}, {30}, {40}, {59.94}, {60}, {120}};
  return options;
}

Profile::Profile(AspectRatio aspect)
    : id(Uuid::random().toString()), frameRate{30}, _isTemplate(false) {
  switch (aspect) {
    case AspectRatio::landscape:
    case AspectRatio::unknown:
      resolution = {1280, 720};
      break;
    case AspectRatio::portrait:
      resolution = Resolution::portraitOptions().back();
      break;
    case AspectRatio::fourByThree:
      resolution = {640, 480};
      break;
    case AspectRatio::threeByFour:
      resolution = Resolution::portraitFourThreeOptions().back();
      break;
    case AspectRatio::square:
      resolution = {720, 720};
      break;
  }
  name = std::string(tav::title(aspect));
}

std::string Profile::subtitle() const { return resolution.title() + " - " + frameRate.title() + " fps"; }

std::string Profile::buttonTitle() const { return fmt::format("{}p {}", resolution.height, frameRate.title()); }

void Profile::update(std::optional<std::string> newName, std::optional<Resolution> newResolution,
                     std::optional<FrameRate> newFrameRate) {
  if (newName) name = std::move(*newName);
  if (newResolution) resolution = *newResolution;
  if (newFrameRate) frameRate = *newFrameRate;
}

std::vector<Profile> Profile::templates() {
  struct Template {
    const char* id;
    const char* name;
    Resolution resolution;
    double frameRate;
  };
  static constexpr std::array<Template, 6> table{{{"DEFAULT_PROFILE_1080_30", "Meetings HD", {1920, 1080}, 30},
                                                  {"DEFAULT_PROFILE_720_30", "Meetings", {1280, 720}, 30},
                                                  {"DEFAULT_PROFILE_1080_60", "Streaming", {1920, 1080}, 60},
                                                  {"DEFAULT_PROFILE_4K_30", "4K", {3840, 2160}, 30},
                                                  {"DEFAULT_PROFILE_1920_30", "Vertical HD", {1080, 1920}, 30},
                                                  {"DEFAULT_PROFILE_1280_30", "Vertical", {720, 1280}, 30}}};
  std::vector<Profile> templates;
  templates.reserve(table.size());
  for (const Template& t : table) {
    templates.emplace_back(t.id, Localizer::mainBundle().localized(t.id, {}, t.name), t.resolution,
                           FrameRate{t.frameRate}, true);
  }
  return templates;
}

Profile::Resolution JsonCoder<Profile::Resolution>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  return {reader.required<int>("width"), reader.required<int>("height")};
}

void JsonCoder<Profile::Resolution>::encode(JsonWriter& w, const Profile::Resolution& v) {
  w.beginObject();
  w.field("width", v.width);
  w.field("height", v.height);
  w.endObject();
}

Profile::FrameRate JsonCoder<Profile::FrameRate>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  return {reader.required<double>("value")};
}

void JsonCoder<Profile::FrameRate>::encode(JsonWriter& w, const Profile::FrameRate& v) {
  w.beginObject();
  w.field("value", v.value);
  w.endObject();
}

Profile JsonCoder<Profile>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  Profile profile;
  profile.id = reader.required<std::string>("id");
  profile.name = reader.required<std::string>("name");
  profile.resolution = reader.required<Profile::Resolution>("resolution");
  profile.frameRate = reader.required<Profile::FrameRate>("frameRate");
  profile._isTemplate = reader.optional<bool>("_isTemplate");
  return profile;
}

void JsonCoder<Profile>::encode(JsonWriter& w, const Profile& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("name", v.name);
  w.field("resolution", v.resolution);
  w.field("frameRate", v.frameRate);
  w.optionalField("_isTemplate", v._isTemplate);
  w.endObject();
}

}  // namespace tav
