#include "tav/obs/obs_import.hpp"

#include <cmath>
#include <cstdint>
#include <span>
#include <utility>

#include "tav/foundation/media_helpers.hpp"
#include "tav/structure/folder_operations.hpp"

namespace tav {
namespace {

using Case = OBSFlattenedEntry::Case;

/// The largest page a browser layer is given; a stated size beyond it is not carried over.
constexpr double kMaxPageSide = 16384;

/// Whole degrees folded to -180...180, as layers store them.
int foldedDegrees(int degrees) {
  int r = degrees % 360;
  if (r > 180) r -= 360;
  if (r < -180) r += 360;
  return r;
}

SceneColor colour(std::uint32_t abgr) {
  const auto c = OBSConversion::rgba(abgr);
  return SceneColor(c.red, c.green, c.blue, c.alpha);
}

/// Makes the layers of one scene and keeps its notes.
class SceneImporter {
 public:
  SceneImporter(const OBSImportOptions& options, AspectRatio aspect) : options_(options), aspect_(aspect) {}

  /// The layer of one resolved item, or absent when its kind has no counterpart (the note says why).
  std::optional<SceneElement> layer(const OBSResolvedItem& resolved, OBSImportNote& note) {
    const OBSSource& source = *resolved.source;
    const OBSSettings empty;
    const OBSSettings& settings = source.settings ? *source.settings : empty;
    std::optional<SceneElement> made;
    switch (resolved.kind) {
      case OBSSourceKind::image:
        made = image(source, note);
        made->type().imageSettings()->imageScaling = OBSConversion::imageScaleMode(
            OBSConversion::boundsTypeFromRawValue(resolved.item.boundsType).value_or(OBSConversion::BoundsType::none));
        break;
      case OBSSourceKind::video:
        made = video(source, settings, note);
        break;
      case OBSSourceKind::text:
        made = text(resolved, settings, note);
        break;
      case OBSSourceKind::color: {
        made = SceneElement::fromShape(ShapeElementType::rectangle, aspect_);
        made->type().shapeSettings()->backgroundColor = colour(settings.uint32("color").value_or(0xFFFFFFFFu));
        break;
      }
      case OBSSourceKind::browser:
        made = browser(settings, note);
        break;
      case OBSSourceKind::camera:
        made = SceneElement::fromDevice(std::nullopt, true, 1.0);
        note.reasons.emplace_back("the camera follows this machine's default camera; OBS's device is not carried over");
        break;
      case OBSSourceKind::displayCapture:
        made = capture(CaptureType::display(0, source.name.value_or("Display")), "display", note);
        break;
      case OBSSourceKind::windowCapture:
        made = capture(CaptureType::window(0, source.name.value_or("Window")), "window", note);
        break;
      case OBSSourceKind::appCapture:
        made = capture(CaptureType::app("", 0, source.name.value_or("Application")), "application", note);
        break;
      case OBSSourceKind::audio:
        note.reasons.emplace_back("an audio source has no layer; sound comes from the scene's audio devices");
        break;
      case OBSSourceKind::scene:
        note.reasons.emplace_back("a nested scene has no layer; import that scene on its own");
        break;
      case OBSSourceKind::group:
      case OBSSourceKind::unknown:
        note.reasons.emplace_back("OBS source kind \"" + source.id.value_or("") + "\" has no layer counterpart");
        break;
    }
    if (!made) return std::nullopt;
    place(*made, resolved, note);
    return made;
  }

 private:
  std::optional<SceneElement> image(const OBSSource& source, OBSImportNote& note) {
    const auto path = obsMediaFilePath(source);
    if (path) {
      const auto size = options_.readSize ? options_.readSize(*path) : std::nullopt;
      const auto bytes = size && options_.readBytes ? options_.readBytes(*path) : std::nullopt;
      if (size && bytes) {
        const std::span<const std::uint8_t> data(reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size());
        return SceneElement::fromImageData(*bytes, *size, isAnimatedGIF(data), options_.canvas, *path);
      }
    }
    // No picture to store: the layer keeps the path so that the picture can be found again.
    SceneElementImageSettings settings;
    settings.fileName = path;
    note.reasons.emplace_back(path ? "the layer keeps the picture's path and shows nothing until the picture is picked again"
                                   : "it names no picture file");
    return SceneElement(Uuid::random(), std::move(settings), SceneElementSettings::defaultImage(std::nullopt, options_.canvas));
  }

  std::optional<SceneElement> video(const OBSSource& source, const OBSSettings& settings, OBSImportNote& note) {
    const auto path = obsMediaFilePath(source);
    if (!path && source.id == "ffmpeg_source" && !settings.bool_("is_local_file").value_or(true)) {
      note.reasons.emplace_back("it plays a network stream, which no layer can show");
      return std::nullopt;
    }
    if (path && options_.readSize && options_.readSize(*path)) {
      SceneElement element = SceneElement::fromVideoURL(Url::fileUrl(*path), options_.canvas);
      element.type().videoSettings()->fileName = *path;
      return element;
    }
    SceneElementVideoSettings video;
    video.looping = Looping::loop;
    video.fileName = path;
    note.reasons.emplace_back(path ? "the layer keeps the movie's path and shows nothing until the movie is picked again"
                                   : "it names no movie file");
    return SceneElement(Uuid::random(), std::move(video), SceneElementSettings::defaultImage(std::nullopt, options_.canvas));
  }

  SceneElement text(const OBSResolvedItem& resolved, const OBSSettings& settings, OBSImportNote& note) {
    SceneElement element = SceneElement::fromText(settings.string("text").value_or(""));
    SceneElementTextSettings& text = *element.type().textSettings();
    if (settings.bool_("read_from_file").value_or(false) || settings.bool_("from_file").value_or(false)) {
      note.reasons.emplace_back("OBS reads its text from a file; the layer keeps the text stored beside it");
    }
    // text_ft2_source names its colour "color1"; the others "color".
    const auto abgr = settings.uint32("color").value_or(settings.uint32("color1").value_or(0xFFFFFFFFu));
    text.textColor = colour(abgr);
    if (const auto* font = settings.object("font")) {
      const OBSSettings fontSettings{*font, std::nullopt};
      if (auto face = fontSettings.string("face"); face && !face->empty()) text.font = *face;
      if (auto style = fontSettings.string("style"); style && !style->empty()) text.fontWeight = *style;
      if (auto size = fontSettings.double_("size"); size && *size > 0) {
        // The font's pixel height on the OBS canvas, grown or shrunk with the item and its groups.
        const auto scale = OBSConversion::contentScale(resolved.item, resolved.groups, options_.canvas.width,
                                                       options_.canvas.height);
        const double n = *size * std::fabs(scale.dy) / options_.canvas.height;
        const double fontSize = OBSConversion::fontSize(n, options_.canvas, 1.0);
        if (std::isfinite(fontSize) && fontSize > 0) {
          text.fontSize = fontSize;
        } else {
          note.reasons.emplace_back("its font size cannot be carried over; the layer keeps the default size");
        }
      }
    }
    return element;
  }

  std::optional<SceneElement> browser(const OBSSettings& settings, OBSImportNote& note) {
    std::optional<Url> url;
    if (settings.bool_("is_local_file").value_or(false)) {
      if (auto file = settings.string("local_file"); file && !file->empty()) url = Url::fileUrl(*file);
    } else if (auto text = settings.string("url")) {
      url = Url::parse(*text);
      if (url && url->scheme().empty()) url.reset();
    }
    if (!url) {
      note.reasons.emplace_back("it has no web address that can be read");
      return std::nullopt;
    }
    SceneElement element = SceneElement::fromURL(*url);
    const auto width = settings.double_("width");
    const auto height = settings.double_("height");
    if (width && height && *width >= 1 && *height >= 1 && *width <= kMaxPageSide && *height <= kMaxPageSide) {
      element.type().webSettings()->pageSize = PageSize::preset(static_cast<int>(*width), static_cast<int>(*height));
    } else if (width || height) {
      note.reasons.emplace_back("its page size is not one a page can have; the layer keeps the default page");
    }
    return element;
  }

  SceneElement capture(const CaptureType& type, const char* what, OBSImportNote& note) {
    note.reasons.emplace_back(std::string("the ") + what + " to capture is chosen again on this machine");
    return SceneElement::fromCaptureType(type, std::nullopt, options_.canvas);
  }

  /// Puts the layer where the item is, with its name and its hidden and locked state.
  void place(SceneElement& element, const OBSResolvedItem& resolved, OBSImportNote& note) {
    SceneElementSettings& settings = element.settings();
    const OBSItemPlacement where = obsItemPlacement(resolved, options_.canvas, options_.readSize);
    if (where.placement) {
      const auto& p = *where.placement;
      settings.setRect(Rect(p.xPosition, p.yPosition, p.width, p.height));
      settings.rotation = foldedDegrees(p.rotation);
      note.sizeOrigin = where.origin;
      const OBSSceneItem& item = resolved.item;
      const bool cropped = item.cropLeft != 0 || item.cropTop != 0 || item.cropRight != 0 || item.cropBottom != 0;
      if (cropped && (resolved.kind == OBSSourceKind::image || resolved.kind == OBSSourceKind::video ||
                      resolved.kind == OBSSourceKind::camera || resolved.kind == OBSSourceKind::displayCapture ||
                      resolved.kind == OBSSourceKind::windowCapture || resolved.kind == OBSSourceKind::appCapture)) {
        note.reasons.emplace_back("its crop is not carried over; the layer shows the whole picture in the cropped box");
      }
    } else if (const auto anchor = anchorOnly(resolved)) {
      // The size is unknown but the position is not: the new layer's box starts where the item does.
      settings.xPosition = anchor->xPosition;
      settings.yPosition = anchor->yPosition;
      settings.rotation = foldedDegrees(anchor->rotation);
      note.reasons.push_back(where.reason + "; the layer stands at its position with the size of a new layer");
    } else {
      note.reasons.push_back(where.reason + "; the layer keeps the geometry of a new layer");
    }
    if (resolved.item.name) settings.name = resolved.item.name;
    settings.isHidden = resolved.isHidden;
    if (resolved.isLocked) settings.isLocked = true;
  }

  /// Where an item of no size stands: the placement of a box of no size at its anchor, when finite.
  std::optional<OBSConversion::Placement> anchorOnly(const OBSResolvedItem& resolved) const {
    auto p = OBSConversion::resolvedPlacement(resolved.item, Size{0, 0}, resolved.groups, options_.canvas.width,
                                              options_.canvas.height);
    if (!p || !std::isfinite(p->xPosition) || !std::isfinite(p->yPosition)) return std::nullopt;
    return p;
  }

  const OBSImportOptions& options_;
  AspectRatio aspect_;
};

/// The ids of the layers made for the items inside the group entry at `at`: the item entries that
/// follow it deeper than it, up to the first entry at its depth or above.
std::vector<Uuid> groupMembers(const std::vector<OBSFlattenedEntry>& entries, const std::vector<OBSImportNote>& notes,
                               std::size_t at) {
  std::vector<Uuid> members;
  const std::size_t depth = entries[at].depth();
  for (std::size_t i = at + 1; i < entries.size() && entries[i].depth() > depth; ++i) {
    if (entries[i].kind() == Case::item && notes[i].layerID) members.push_back(*notes[i].layerID);
  }
  return members;
}

}  // namespace

std::string_view rawValue(OBSImportOutcome outcome) {
  switch (outcome) {
    case OBSImportOutcome::imported:
      return "imported";
    case OBSImportOutcome::approximated:
      return "approximated";
    case OBSImportOutcome::leftOut:
      return "leftOut";
  }
  return "imported";
}

OBSSceneImport importOBSScene(const OBSCollection& collection, const OBSCollection::SourceIndex& index,
                              std::string_view sceneName, const OBSImportOptions& options) {
  const AspectRatio aspect = OBSConversion::snapAspectRatio(options.canvas.width, options.canvas.height);
  const std::vector<OBSFlattenedEntry> entries = collection.flattenedEntries(sceneName, index);
  std::vector<OBSImportNote> notes(entries.size());
  std::vector<SceneElement> layers;  // OBS's order: back to front
  SceneImporter importer(options, aspect);

  for (std::size_t i = 0; i < entries.size(); ++i) {
    const OBSFlattenedEntry& entry = entries[i];
    OBSImportNote& note = notes[i];
    note.entry = entry.kind();
    note.item = entry.sceneItem().name;
    switch (entry.kind()) {
      case Case::item: {
        const OBSResolvedItem& resolved = *entry.resolvedItem();
        note.sourceID = resolved.source->id;
        note.kind = resolved.kind;
        if (auto layer = importer.layer(resolved, note)) {
          note.layerID = layer->id();
          note.outcome = note.reasons.empty() ? OBSImportOutcome::imported : OBSImportOutcome::approximated;
          layers.push_back(*std::move(layer));
        } else {
          note.outcome = OBSImportOutcome::leftOut;
        }
        break;
      }
      case Case::unresolved:
        note.outcome = OBSImportOutcome::leftOut;
        note.reasons.emplace_back("its source is not in the collection");
        break;
      case Case::cyclicGroup:
        note.outcome = OBSImportOutcome::leftOut;
        note.kind = OBSSourceKind::group;
        note.reasons.emplace_back("the group contains itself; it is cut here");
        break;
      case Case::group:
        note.kind = OBSSourceKind::group;
        break;  // made into a folder once its members are layers
    }
  }

  // Our layers run front to back, OBS's items back to front.
  std::vector<SceneElement> frontToBack(std::make_move_iterator(layers.rbegin()), std::make_move_iterator(layers.rend()));
  Scene scene = Scene::withElements(Uuid::random().toString(), std::nullopt, std::string(sceneName), aspect,
                                    std::move(frontToBack));

  // Outer groups come first in the walk, so an inner group's folder is made inside its outer one.
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].kind() != Case::group) continue;
    OBSImportNote& note = notes[i];
    const std::vector<Uuid> members = groupMembers(entries, notes, i);
    const auto result = members.empty() ? std::nullopt : FolderOperations::create(members, note.item, false, scene);
    if (result && result->groupID) {
      note.layerID = result->groupID;
      note.outcome = OBSImportOutcome::imported;
    } else {
      note.outcome = OBSImportOutcome::leftOut;
      note.reasons.emplace_back("it holds no layer that was imported");
    }
  }
  return {std::move(scene), std::move(notes)};
}

}  // namespace tav
