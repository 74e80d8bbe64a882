#include "tav/scene/element_web_settings.hpp"

#include <memory>
#include <mutex>
#include <utility>

#include "tav/contracts/localizer.hpp"

namespace tav {
namespace {

using SizeProvider = std::function<std::optional<Size>()>;

std::mutex& providerMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<const SizeProvider>& installedProvider() {
  static std::shared_ptr<const SizeProvider> provider;
  return provider;
}

constexpr const char* kKeyCountError = "Invalid number of keys found, expected one.";

}  // namespace

void setActiveProfileSizeProvider(std::function<std::optional<Size>()> provider) {
  std::shared_ptr<const SizeProvider> next;
  if (provider) next = std::make_shared<const SizeProvider>(std::move(provider));
  std::lock_guard lock(providerMutex());
  installedProvider() = std::move(next);
}

std::string PageSize::title() const {
  if (const auto* p = presetValue()) return std::to_string(p->width) + " x " + std::to_string(p->height);
  return localizedText("MATCH_PROFILE", "Match profile");
}

bool PageSize::isCustom() const {
  if (!isPreset()) return false;
  return *this != p1920x1080() && *this != p1280x720() && *this != p854x480();
}

std::optional<Size> PageSize::size() const {
  if (const auto* p = presetValue()) return Size{static_cast<double>(p->width), static_cast<double>(p->height)};
  std::shared_ptr<const SizeProvider> provider;
  {
    std::lock_guard lock(providerMutex());
    provider = installedProvider();
  }
  // Called outside the lock: the provider reads the profiles, which have locks of their own.
  if (!provider) return std::nullopt;
  return (*provider)();
}

PageSize JsonCoder<PageSize>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  const JsonValue* preset = reader.find("preset");
  const JsonValue* matchProfile = reader.find("matchProfile");
  if ((preset == nullptr) == (matchProfile == nullptr)) throw DecodingError(path, kKeyCountError);
  if (preset != nullptr) {
    JsonPath presetPath = path.key("preset");
    JsonObjectReader values(*preset, presetPath);
    return PageSize::preset(values.required<int>("width"), values.required<int>("height"));
  }
  // The case without values is an empty object; what else it holds is not ours to read.
  if (!matchProfile->is_object()) detail::throwExpected(path.key("matchProfile"), "an object");
  return PageSize::matchProfile();
}

void JsonCoder<PageSize>::encode(JsonWriter& w, const PageSize& v) {
  w.beginObject();
  if (const auto* p = v.presetValue()) {
    w.key("preset");
    w.beginObject();
    w.field("width", p->width);
    w.field("height", p->height);
    w.endObject();
  } else {
    w.key("matchProfile");
    w.beginObject();
    w.endObject();
  }
  w.endObject();
}

void SceneElementWebSettings::merge(const SceneElementWebSettings& incoming) {
  if (incoming.url) url = incoming.url;
  if (incoming.pageSize) pageSize = incoming.pageSize;
}

SceneElementWebSettings JsonCoder<SceneElementWebSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementWebSettings settings;
  settings.url = reader.optional<Url>("url");
  settings.pageSize = reader.optional<PageSize>("pageSize");
  settings.audioRemoved = reader.valueOr<bool>("audioRemoved", false);
  return settings;
}

void JsonCoder<SceneElementWebSettings>::encode(JsonWriter& w, const SceneElementWebSettings& v) {
  w.beginObject();
  w.optionalField("url", v.url);
  w.optionalField("pageSize", v.pageSize);
  w.field("audioRemoved", v.audioRemoved);
  w.endObject();
}

}  // namespace tav
