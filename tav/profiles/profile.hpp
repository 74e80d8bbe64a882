// An output profile: a named pixel resolution and frame rate that the host composes, records and
// streams at; with the offered values, the built-in profiles and the mapping of a resolution to another
// aspect ratio.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/cm_time.hpp"

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/aspect_ratio.hpp"

namespace tav {

/// A plain value. Equal when all five fields are equal (an absent `_isTemplate` differs from true).
struct Profile {
  struct Resolution {
    int width = 0;
    int height = 0;

    /// The same as a floating-point size.
    Size size() const { return Size{static_cast<double>(width), static_cast<double>(height)}; }
    std::int64_t pixels() const { return static_cast<std::int64_t>(width) * height; }
    /// Width and height swapped.
    Resolution rotated() const { return Resolution{height, width}; }
    /// The first aspect ratio (in case order, unknown aside) whose ratio rounded to two decimals equals
    /// width / height rounded the same way; landscape when none does.
    AspectRatio aspectRatio() const;
    /// "4K 16:9 (UHD)", "1440p ... (QHD)", "1080p ... (FHD)", "720p ... (HD)" for the standard sizes in
    /// either orientation, else "<width>x<height> <aspect title>".
    std::string title() const;
    /// The resolution that goes with `target`: rotated when the target is this one's opposite (or the
    /// same square), else the offered entry of the target that keeps one side, else the target's
    /// fallback. Unchanged for an unknown target that is not the opposite.
    Resolution converted(AspectRatio target) const;

    static const std::vector<Resolution>& landscapeOptions();
    static const std::vector<Resolution>& portraitOptions();
    static const std::vector<Resolution>& landscapeFourThreeOptions();
    static const std::vector<Resolution>& portraitFourThreeOptions();
    static const std::vector<Resolution>& squareOptions();

    friend bool operator==(const Resolution&, const Resolution&) = default;
  };

  struct FrameRate {
    double value = 0;  ///< frames per second

    /// Seconds per frame: 1 / value.
    double interval() const { return 1 / value; }
    /// The timescale of the frame duration 1/timescale: the value truncated to a 32-bit integer, so
    /// 29.97 gives 29.
    std::int32_t cmTimeTimescale() const;
    /// One frame's duration: 1 / cmTimeTimescale().
    CMTime cmTime() const { return CMTime::make(1, cmTimeTimescale()); }
    /// The value with up to two fraction digits: "30", "29.97".
    std::string title() const;

    /// 5, 15, 20, 24, 25, 29.97, 30, 40, 59.94, 60, 120.
    static const std::vector<FrameRate>& options();

    friend bool operator==(const FrameRate&, const FrameRate&) = default;
  };

  std::string id;
  std::string name;
  Resolution resolution;
  FrameRate frameRate;
  std::optional<bool> _isTemplate;

  Profile() = default;
  Profile(std::string id_, std::string name_, Resolution resolution_, FrameRate frameRate_,
          std::optional<bool> isTemplate_)
      : id(std::move(id_)), name(std::move(name_)), resolution(resolution_), frameRate(frameRate_), _isTemplate(isTemplate_) {}
  /// A new profile for `aspect`: a new UUID, 30 fps, not a template, named by the aspect's title, at the
  /// smallest offered resolution of that aspect (1280 x 720 for landscape and unknown).
  explicit Profile(AspectRatio aspect);

  /// True for a built-in profile; a stored profile that does not say counts as one.
  bool isTemplate() const { return _isTemplate.value_or(true); }
  AspectRatio aspectRatio() const { return resolution.aspectRatio(); }
  /// "1080p 16:9 (FHD) - 30 fps".
  std::string subtitle() const;
  /// "1080p 30".
  std::string buttonTitle() const;
  /// Replaces the fields given; with none given nothing changes.
  void update(std::optional<std::string> newName = std::nullopt, std::optional<Resolution> newResolution = std::nullopt,
              std::optional<FrameRate> newFrameRate = std::nullopt);

  /// The six built-in profiles, named in the current language (the main bundle's text for the id).
  static std::vector<Profile> templates();

  friend bool operator==(const Profile&, const Profile&) = default;
};

/// {"width": integer, "height": integer}.
template <>
struct JsonCoder<Profile::Resolution> {
  static Profile::Resolution decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Profile::Resolution& v);
};

/// {"value": number}.
template <>
struct JsonCoder<Profile::FrameRate> {
  static Profile::FrameRate decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Profile::FrameRate& v);
};

/// "id", "name", "resolution", "frameRate", and "_isTemplate" when present.
template <>
struct JsonCoder<Profile> {
  static Profile decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Profile& v);
};

}  // namespace tav
