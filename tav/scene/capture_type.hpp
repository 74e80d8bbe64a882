// What a screen-capture layer or an audio source points at: a display, a window, an application on a
// display, or something this version doesn't know.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "tav/contracts/application_icon_provider.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

class CaptureType {
 public:
  struct Display {
    std::uint32_t identifier = 0;
    std::string name;
    std::optional<std::string> displayUUID;
    friend bool operator==(const Display&, const Display&) = default;
  };
  struct Window {
    std::uint32_t identifier = 0;
    std::string name;
    std::optional<std::string> appBundleIdentifier;
    friend bool operator==(const Window&, const Window&) = default;
  };
  struct App {
    /// The application's bundle identifier.
    std::string identifier;
    /// The display the application is captured on.
    std::uint32_t display = 0;
    std::string name;
    std::optional<std::string> displayUUID;
    friend bool operator==(const App&, const App&) = default;
  };
  struct Unknown {
    friend bool operator==(const Unknown&, const Unknown&) = default;
  };

  /// `unknown`.
  CaptureType() : value_(Unknown{}) {}
  CaptureType(Display display) : value_(std::move(display)) {}
  CaptureType(Window window) : value_(std::move(window)) {}
  CaptureType(App app) : value_(std::move(app)) {}
  CaptureType(Unknown unknown) : value_(unknown) {}

  static CaptureType display(std::uint32_t identifier, std::string name, std::optional<std::string> displayUUID = {}) {
    return Display{identifier, std::move(name), std::move(displayUUID)};
  }
  static CaptureType window(std::uint32_t identifier, std::string name,
                            std::optional<std::string> appBundleIdentifier = {}) {
    return Window{identifier, std::move(name), std::move(appBundleIdentifier)};
  }
  static CaptureType app(std::string identifier, std::uint32_t display, std::string name,
                         std::optional<std::string> displayUUID = {}) {
    return App{std::move(identifier), display, std::move(name), std::move(displayUUID)};
  }
  static CaptureType unknown() { return Unknown{}; }

  bool isDisplay() const { return std::holds_alternative<Display>(value_); }
  bool isWindow() const { return std::holds_alternative<Window>(value_); }
  bool isApp() const { return std::holds_alternative<App>(value_); }
  bool isUnknown() const { return std::holds_alternative<Unknown>(value_); }

  /// The payload of the case, or nullptr for another case.
  const Display* displayPayload() const { return std::get_if<Display>(&value_); }
  const Window* windowPayload() const { return std::get_if<Window>(&value_); }
  const App* appPayload() const { return std::get_if<App>(&value_); }

  /// The case and its values; the alternatives are in case order.
  const std::variant<Display, Window, App, Unknown>& payload() const { return value_; }

  /// display, window: the decimal identifier. app: the bundle identifier followed directly by the
  /// decimal display id. unknown: "UNKNOWN_CAPTURE_TYPE".
  std::string identifier() const;
  /// The associated name; "Screen Capture" for unknown.
  std::string name() const;
  /// Of display and app, else absent.
  std::optional<std::string> displayUUID() const;
  /// app: the application's icon. window: the icon of its application, or the symbol "macwindow"
  /// without one. display, unknown: the symbol "tv".
  SourceIcon image() const;

  friend bool operator==(const CaptureType&, const CaptureType&) = default;

 private:
  std::variant<Display, Window, App, Unknown> value_;
};

/// One object with a single key naming the case, whose value holds the associated values:
/// {"display": {"identifier", "name", "displayUUID"}}, {"window": {"identifier", "name",
/// "appBundleIdentifier"}}, {"app": {"identifier", "display", "name", "displayUUID"}}, {"unknown": {}}.
/// The optional texts are written when present. Reading fails unless exactly one case key is there.
template <>
struct JsonCoder<CaptureType> {
  static CaptureType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const CaptureType& v);
};

}  // namespace tav

template <>
struct std::hash<tav::CaptureType> {
  std::size_t operator()(const tav::CaptureType& c) const noexcept;
};
