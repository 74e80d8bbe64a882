// A colour of a scene: four components in device RGB, each 0 to 1.
//
// The stored order green, blue, red, alpha and the underscored names are those of the document
// format, which writes {"_green": g, "_blue": b, "_red": r, "alpha": a}.
#pragma once

#include <string>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

struct SceneColor {
  double _green = 0;
  double _blue = 0;
  double _red = 0;
  double alpha = 1;

  /// Opaque black.
  SceneColor() = default;
  /// Components in the usual order; they are stored green, blue, red, alpha.
  SceneColor(double red, double green, double blue, double opacity)
      : _green(green), _blue(blue), _red(red), alpha(opacity) {}

  double red() const { return _red; }
  double green() const { return _green; }
  double blue() const { return _blue; }

  /// "#RRGGBB" in upper-case hex: each component times 255, in single precision, rounded half away
  /// from zero. Alpha is not part of it.
  std::string hex() const;

  /// Red, green, blue 0 and alpha 1: the fallback colour wherever a colour is missing.
  static SceneColor opaqueBlack() { return SceneColor(0, 0, 0, 1); }

  friend bool operator==(const SceneColor&, const SceneColor&) = default;
};

/// {"_green": g, "_blue": b, "_red": r, "alpha": a}, all required.
template <>
struct JsonCoder<SceneColor> {
  static SceneColor decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneColor& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneColor> {
  std::size_t operator()(const tav::SceneColor& c) const noexcept {
    return tav::hashValues(c._green, c._blue, c._red, c.alpha);
  }
};
