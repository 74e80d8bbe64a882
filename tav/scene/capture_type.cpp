#include "tav/scene/capture_type.hpp"

#include <array>
#include <string_view>

namespace tav {

namespace {

template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

}  // namespace

std::string CaptureType::identifier() const {
  return std::visit(Overloaded{
                        [](const Display& d) { return std::to_string(d.identifier); },
                        [](const Window& w) { return std::to_string(w.identifier); },
                        [](const App& a) { return a.identifier + std::to_string(a.display); },
                        [](const Unknown&) { return std::string("UNKNOWN_CAPTURE_TYPE"); },
                    },
                    value_);
}

std::string CaptureType::name() const {
  return std::visit(Overloaded{
                        [](const Display& d) { return d.name; },
                        [](const Window& w) { return w.name; },
                        [](const App& a) { return a.name; },
                        [](const Unknown&) { return std::string("Screen Capture"); },
                    },
                    value_);
}

std::optional<std::string> CaptureType::displayUUID() const {
  if (const Display* d = displayPayload()) return d->displayUUID;
  if (const App* a = appPayload()) return a->displayUUID;
  return std::nullopt;
}

SourceIcon CaptureType::image() const {
  if (const App* a = appPayload()) return ApplicationIconProvider::shared().icon(a->identifier);
  if (const Window* w = windowPayload()) {
    if (w->appBundleIdentifier) return ApplicationIconProvider::shared().icon(*w->appBundleIdentifier);
    return SourceIcon::symbol("macwindow");
  }
  return SourceIcon::symbol("tv");
}

CaptureType JsonCoder<CaptureType>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  static constexpr std::array<std::string_view, 4> kCaseKeys{"display", "window", "app", "unknown"};
  std::string_view found;
  int count = 0;
  for (std::string_view key : kCaseKeys) {
    if (reader.contains(key)) {
      found = key;
      ++count;
    }
  }
  if (count != 1) {
    throw DecodingError(path, "expected exactly one of \"display\", \"window\", \"app\", \"unknown\"");
  }
  JsonPath casePath = path.key(found);
  JsonObjectReader payload(*reader.find(found), casePath);
  if (found == "display") {
    return CaptureType::Display{payload.required<std::uint32_t>("identifier"), payload.required<std::string>("name"),
                                payload.optional<std::string>("displayUUID")};
  }
  if (found == "window") {
    return CaptureType::Window{payload.required<std::uint32_t>("identifier"), payload.required<std::string>("name"),
                               payload.optional<std::string>("appBundleIdentifier")};
  }
  if (found == "app") {
    CaptureType::App app;
    app.identifier = payload.required<std::string>("identifier");
    app.display = payload.required<std::uint32_t>("display");
    app.name = payload.required<std::string>("name");
    app.displayUUID = payload.optional<std::string>("displayUUID");
    return app;
  }
  return CaptureType::unknown();
}

void JsonCoder<CaptureType>::encode(JsonWriter& w, const CaptureType& v) {
  w.beginObject();
  std::visit(Overloaded{
                 [&](const CaptureType::Display& d) {
                   w.key("display");
                   w.beginObject();
                   w.field("identifier", d.identifier);
                   w.field("name", d.name);
                   w.optionalField("displayUUID", d.displayUUID);
                   w.endObject();
                 },
                 [&](const CaptureType::Window& win) {
                   w.key("window");
                   w.beginObject();
                   w.field("identifier", win.identifier);
                   w.field("name", win.name);
                   w.optionalField("appBundleIdentifier", win.appBundleIdentifier);
                   w.endObject();
                 },
                 [&](const CaptureType::App& a) {
                   w.key("app");
                   w.beginObject();
                   w.field("identifier", a.identifier);
                   w.field("display", a.display);
                   w.field("name", a.name);
                   w.optionalField("displayUUID", a.displayUUID);
                   w.endObject();
                 },
                 [&](const CaptureType::Unknown&) {
                   w.key("unknown");
                   w.beginObject();
                   w.endObject();
                 },
             },
             v.payload());
  w.endObject();
}

}  // namespace tav

std::size_t std::hash<tav::CaptureType>::operator()(const tav::CaptureType& c) const noexcept {
  std::size_t seed = c.payload().index();
  std::visit(
      [&](const auto& p) {
        using P = std::decay_t<decltype(p)>;
        if constexpr (std::is_same_v<P, tav::CaptureType::Display>) {
          tav::hashCombine(seed, p.identifier);
          tav::hashCombine(seed, p.name);
          tav::hashCombine(seed, p.displayUUID);
        } else if constexpr (std::is_same_v<P, tav::CaptureType::Window>) {
          tav::hashCombine(seed, p.identifier);
          tav::hashCombine(seed, p.name);
          tav::hashCombine(seed, p.appBundleIdentifier);
        } else if constexpr (std::is_same_v<P, tav::CaptureType::App>) {
          tav::hashCombine(seed, p.identifier);
          tav::hashCombine(seed, p.display);
          tav::hashCombine(seed, p.name);
          tav::hashCombine(seed, p.displayUUID);
        }
      },
      c.payload());
  return seed;
}
