#include "tav/scene/scene.hpp"

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>
#include <string_view>

#include "tav/contracts/localizer.hpp"

namespace tav {
namespace {

// Every key the document itself owns. "stockImageName" and "additionalProperties" are recognised and
// never read or written, so a stray top-level key of either name is dropped.
constexpr std::array<std::string_view, 25> kDocumentKeys = {
    "id",           "reference",         "name",
    "elements",     "groups",            "background",
    "backgroundLooping", "backgroundColor", "backgroundScaling",
    "backgroundOpacity", "backgroundGradient", "aspectRatio",
    "formats",      "version",           "isTemplate",
    "hasLocalisedName", "thumbnail",     "shouldAutoUpdateThumbnail",
    "thumbnailActor", "templateID",      "audioConfiguration",
    "webOverlayID", "transitionConfig",  "stockImageName",
    "additionalProperties"};

bool isDocumentKey(std::string_view key) {
  return std::find(kDocumentKeys.begin(), kDocumentKeys.end(), key) != kDocumentKeys.end();
}

template <class T>
const T& neutral() {
  static const T value{};
  return value;
}

/// Throws std::out_of_range unless `index` < `end`: a position of an existing layer when `end` is the
/// count, an insertion point when it is the count plus one.
void checkIndex(std::size_t index, std::size_t end, const char* operation) {
  if (index >= end) {
    throw std::out_of_range(std::string(operation) + ": index " + std::to_string(index) + " is not below " +
                            std::to_string(end));
  }
}

}  // namespace

ThumbnailActor randomThumbnailActor() {
  thread_local std::mt19937 engine{std::random_device{}()};
  constexpr auto actors = allCases<ThumbnailActor>();
  std::uniform_int_distribution<std::size_t> pick(0, actors.size() - 1);
  return actors[pick(engine)];
}

Scene::Scene(Identity identity, std::string name, AspectRatio primaryAspect, SceneFormat format)
    : identity_(std::move(identity)), name_(std::move(name)), primaryAspect_(primaryAspect) {
  formats_.emplace(primaryAspect, std::move(format));
}

bool Scene::isDefault() const { return identity_.id.find("DEFAULT_SCENE") != std::string::npos; }

std::string Scene::name() const {
  if (!identity_.hasLocalisedName.value_or(false)) return name_;
  // "key" or "key:table"; empty pieces are dropped and pieces after the table ignored.
  std::vector<std::string_view> pieces;
  std::string_view rest = name_;
  while (!rest.empty()) {
    auto colon = rest.find(':');
    auto piece = rest.substr(0, colon);
    if (!piece.empty()) pieces.push_back(piece);
    if (colon == std::string_view::npos) break;
    rest.remove_prefix(colon + 1);
  }
  // A reference with no pieces names nothing to look up: show it as stored.
  if (pieces.empty()) return name_;
  std::string_view table = pieces.size() > 1 ? pieces[1] : std::string_view();
  return Localizer::mainBundle().localized(pieces[0], table);
}

void Scene::updateAssetReference() {
  if (!reference_) return;
  thumbnail_ = std::move(reference_);
  reference_.reset();
}

Scene Scene::withActiveAspect(std::optional<AspectRatio> aspect) const {
  Scene copy = *this;
  copy.activeAspect_ = aspect;
  return copy;
}

std::vector<AspectRatio> Scene::supportedAspects() const {
  std::vector<AspectRatio> aspects;
  aspects.reserve(formats_.size());
  for (const auto& entry : formats_) aspects.push_back(entry.first);
  return aspects;
}

const SceneFormat* Scene::format(AspectRatio aspect) const {
  auto it = formats_.find(aspect);
  return it == formats_.end() ? nullptr : &it->second;
}

void Scene::removeFormat(AspectRatio aspect) {
  if (formats_.size() < 2) return;
  if (formats_.erase(aspect) == 0) return;
  if (aspect == primaryAspect_) primaryAspect_ = formats_.begin()->first;
  if (activeAspect_ == aspect) activeAspect_.reset();
}

const std::vector<SceneElement>& Scene::elements() const { return elements(aspectRatio()); }
const SceneElementGroupMap& Scene::groups() const { return groups(aspectRatio()); }
const std::optional<Background>& Scene::background() const { return background(aspectRatio()); }
SceneColor Scene::backgroundColor() const { return backgroundColor(aspectRatio()); }
const std::optional<Looping>& Scene::backgroundLooping() const {
  return fieldOf(aspectRatio(), &SceneFormat::backgroundLooping);
}
const std::optional<ScaleMode>& Scene::backgroundScaling() const {
  return fieldOf(aspectRatio(), &SceneFormat::backgroundScaling);
}
const std::optional<double>& Scene::backgroundOpacity() const {
  return fieldOf(aspectRatio(), &SceneFormat::backgroundOpacity);
}
const std::optional<SceneGradient>& Scene::_backgroundGradient() const {
  return fieldOf(aspectRatio(), &SceneFormat::_backgroundGradient);
}
const std::optional<SceneColor>& Scene::_backgroundColor() const {
  return fieldOf(aspectRatio(), &SceneFormat::_backgroundColor);
}

const std::vector<SceneElement>& Scene::elements(AspectRatio aspect) const {
  return fieldOf(aspect, &SceneFormat::elements);
}
const SceneElementGroupMap& Scene::groups(AspectRatio aspect) const { return fieldOf(aspect, &SceneFormat::groups); }
const std::optional<Background>& Scene::background(AspectRatio aspect) const {
  return fieldOf(aspect, &SceneFormat::background);
}
SceneColor Scene::backgroundColor(AspectRatio aspect) const {
  const auto* f = format(aspect);
  return f ? f->backgroundColor() : SceneColor::opaqueBlack();
}

const SceneElement* Scene::elementWithID(const Uuid& id) const {
  const auto index = indexOfElement(id);
  return index ? &elements()[*index] : nullptr;
}

const SceneElement* Scene::elementWithID(const Uuid& id, AspectRatio aspect) const {
  const auto index = indexOfElement(id, aspect);
  return index ? &elements(aspect)[*index] : nullptr;
}

std::vector<SceneElement> Scene::allElements() const {
  std::vector<SceneElement> all;
  for (const auto& [aspect, format] : formats_) all.insert(all.end(), format.elements.begin(), format.elements.end());
  return all;
}

std::vector<Background> Scene::allBackgrounds() const {
  std::vector<Background> all;
  for (const auto& [aspect, format] : formats_) {
    if (format.background) all.push_back(*format.background);
  }
  return all;
}

void Scene::addElement(const SceneElement& element, std::optional<std::size_t> index, bool atBack) {
  auto& list = routedFormatForEditing().elements;
  if (std::find(list.begin(), list.end(), element) != list.end()) return;
  if (atBack) {
    list.push_back(element);
    return;
  }
  std::size_t at = index.value_or(0);
  checkIndex(at, list.size() + 1, "addElement");
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), element);
}

void Scene::update(std::size_t index, SceneElement element) {
  auto& list = routedFormatForEditing().elements;
  checkIndex(index, list.size(), "update");
  list[index] = std::move(element);
}

void Scene::removeElement(const Uuid& id) {
  auto& list = routedFormatForEditing().elements;
  std::erase_if(list, [&id](const SceneElement& e) { return e.id() == id; });
  // Groups that lost their last members go with them.
  cleanupOrphanGroups();
}

void Scene::reorder(const SceneElement& element, std::size_t to) {
  auto& list = routedFormatForEditing().elements;
  auto it = std::find(list.begin(), list.end(), element);
  if (it == list.end()) return;
  list.erase(it);
  checkIndex(to, list.size() + 1, "reorder");
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(to), element);
}

void Scene::move(std::size_t at, std::size_t to) {
  auto& list = routedFormatForEditing().elements;
  checkIndex(at, list.size(), "move");
  SceneElement moving = std::move(list[at]);
  list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
  checkIndex(to, list.size() + 1, "move");
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(to), std::move(moving));
}

bool operator==(const Scene& a, const Scene& b) {
  const auto& x = a.identity_;
  const auto& y = b.identity_;
  return x.id == y.id && x.templateID == y.templateID && a.name_ == b.name_ &&
         x.hasLocalisedName == y.hasLocalisedName && a.formats_ == b.formats_ &&
         a.primaryAspect_ == b.primaryAspect_ && a.version_ == b.version_ &&
         a.audioConfiguration_ == b.audioConfiguration_ && a.thumbnail_ == b.thumbnail_ &&
         a.shouldAutoUpdateThumbnail_ == b.shouldAutoUpdateThumbnail_ && a.thumbnailActor_ == b.thumbnailActor_ &&
         a.transitionConfig_ == b.transitionConfig_ && a.additionalProperties_ == b.additionalProperties_ &&
         a.reference_ == b.reference_ && x.isTemplate == y.isTemplate && x.webOverlayID == y.webOverlayID;
}

Scene JsonCoder<Scene>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader in(json, path);
  Scene scene;
  scene.identity_.id = in.required<std::string>("id");
  scene.reference_ = in.optional<TransferAssetReference>("reference");
  scene.name_ = in.required<std::string>("name");
  scene.version_ = in.optional<int>("version");
  scene.identity_.isTemplate = in.required<bool>("isTemplate");
  scene.identity_.hasLocalisedName = in.optional<bool>("hasLocalisedName");
  scene.thumbnail_ = in.optional<TransferAssetReference>("thumbnail");
  scene.shouldAutoUpdateThumbnail_ = in.valueOr<bool>("shouldAutoUpdateThumbnail", true);
  scene.thumbnailActor_ = in.optional<ThumbnailActor>("thumbnailActor");
  if (!scene.thumbnailActor_) scene.thumbnailActor_ = randomThumbnailActor();
  scene.identity_.templateID = in.optional<std::string>("templateID");
  scene.audioConfiguration_ = in.optional<AudioConfiguration>("audioConfiguration");
  scene.identity_.webOverlayID = in.optional<std::string>("webOverlayID");
  scene.transitionConfig_ = in.optional<SceneTransitionConfig>("transitionConfig");
  scene.primaryAspect_ = in.valueOr<AspectRatio>("aspectRatio", AspectRatio::landscape);

  // The top-level keys are the primary format in documents of every age.
  SceneFormat primary = JsonCoder<SceneFormat>::decodeLayout(in);

  if (const JsonValue* formats = in.find("formats"); formats != nullptr && !formats->is_null()) {
    JsonPath formatsPath = path.key("formats");
    JsonObjectReader formatsIn(*formats, formatsPath);
    for (const auto& member : formatsIn.object()) {
      std::string_view key(member.key().data(), member.key().size());
      SceneFormat format = JsonCoder<SceneFormat>::decode(member.value(), formatsPath.key(key));
      // Keys that name no aspect are dropped; "unknown" is an aspect of its own.
      if (auto aspect = enumFromRawValue<AspectRatio>(key)) scene.formats_.insert_or_assign(*aspect, std::move(format));
    }
  }
  scene.formats_.insert_or_assign(scene.primaryAspect_, std::move(primary));

  for (const auto& member : in.object()) {
    std::string_view key(member.key().data(), member.key().size());
    if (isDocumentKey(key)) continue;
    if (member.value().is_null()) {
      scene.additionalProperties_.erase(key);
    } else {
      scene.additionalProperties_[key] = keepJson(member.value());
    }
  }

  // A damaged document is mended rather than refused: frames first, then masks, per format.
  for (const auto& entry : scene.formats_) {
    scene.activeAspect_ = entry.first;
    scene.repairFrameMembership();
    scene.repairMaskReferences();
  }
  scene.activeAspect_.reset();
  return scene;
}

void JsonCoder<Scene>::encode(JsonWriter& w, const Scene& scene) {
  w.beginObject();
  w.field("id", scene.identity_.id);
  w.optionalField("reference", scene.reference_);
  w.field("name", scene.name_);

  const SceneFormat* top = scene.format(scene.primaryAspect_);
  if (top == nullptr && !scene.formats_.empty()) top = &scene.formats_.begin()->second;
  const SceneFormat& primary = top ? *top : neutral<SceneFormat>();
  JsonCoder<SceneFormat>::encodeLayout(w, primary);
  w.field("aspectRatio", scene.primaryAspect_);

  bool hasOthers = std::any_of(scene.formats_.begin(), scene.formats_.end(),
                               [&](const auto& entry) { return entry.first != scene.primaryAspect_; });
  if (hasOthers) {
    w.key("formats");
    w.beginObject();
    for (const auto& [aspect, format] : scene.formats_) {
      if (aspect == scene.primaryAspect_) continue;
      w.field(rawValue(aspect), format);
    }
    w.endObject();
  }

  w.optionalField("version", scene.version_);
  w.field("isTemplate", scene.identity_.isTemplate);
  w.optionalField("hasLocalisedName", scene.identity_.hasLocalisedName);
  w.optionalField("thumbnail", scene.thumbnail());
  w.field("shouldAutoUpdateThumbnail", scene.shouldAutoUpdateThumbnail_);
  w.optionalField("thumbnailActor", scene.thumbnailActor_);
  w.optionalField("templateID", scene.identity_.templateID);
  w.optionalField("audioConfiguration", scene.audioConfiguration_);
  w.optionalField("webOverlayID", scene.identity_.webOverlayID);
  w.optionalField("transitionConfig", scene.transitionConfig_);
  w.members(scene.additionalProperties_);
  w.endObject();
}

}  // namespace tav

std::size_t std::hash<tav::Scene>::operator()(const tav::Scene& scene) const noexcept {
  std::size_t seed = std::hash<std::string>()(scene.id());
  auto mix = [&seed](std::size_t h) { seed ^= h + 0x9E3779B97F4A7C15ULL + (seed << 6) + (seed >> 2); };
  mix(std::hash<std::string>()(scene._name()));
  mix(std::hash<std::string_view>()(tav::rawValue(scene.primaryAspect())));
  mix(std::hash<bool>()(scene.isTemplate()));
  for (const auto& [aspect, format] : scene.formats()) {
    mix(static_cast<std::size_t>(aspect));
    for (const auto& element : format.elements) mix(std::hash<tav::Uuid>()(element.id()));
  }
  return seed;
}
