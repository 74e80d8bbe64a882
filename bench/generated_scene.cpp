#include "generated_scene.hpp"

#include <array>
#include <random>
#include <string_view>
#include <vector>

#include "tav/contracts/json_writer.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav::bench {
namespace {

constexpr std::array<std::string_view, 5> kAspects = {"landscape", "portrait", "square", "fourByThree", "threeByFour"};

class Generator {
 public:
  explicit Generator(unsigned seed) : engine_(seed) {}

  Uuid nextID() {
    std::array<std::uint8_t, 16> bytes{};
    std::uint64_t a = engine_();
    std::uint64_t b = engine_();
    for (int i = 0; i < 8; ++i) {
      bytes[i] = static_cast<std::uint8_t>(a >> (8 * i));
      bytes[8 + i] = static_cast<std::uint8_t>(b >> (8 * i));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return Uuid(bytes);
  }
  double fraction() { return std::uniform_real_distribution<double>(0.0, 1.0)(engine_); }

  void color(JsonWriter& w) {
    w.beginObject();
    w.field("_green", fraction());
    w.field("_blue", fraction());
    w.field("_red", fraction());
    w.field("alpha", 1.0);
    w.endObject();
  }

  void settings(JsonWriter& w, std::size_t i, const Uuid* maskLayer, bool inFrame) {
    w.beginObject();
    w.field("name", std::string("Layer ") + std::to_string(i) + " of the morning show, lower third on the left-hand side");
    w.field("xPosition", fraction());
    w.field("yPosition", fraction());
    w.field("width", fraction());
    w.field("height", fraction());
    if (i % 3 == 0) {
      w.field("borderWidth", static_cast<std::int64_t>(i % 7));
      w.key("borderColor");
      color(w);
    }
    w.field("cornerRadius", static_cast<std::int64_t>(i % 50));
    w.field("isHidden", false);
    w.field("lockAspectRatio", i % 2 == 0);
    w.field("opacity", 0.5 + fraction() / 2);
    w.field("rotation", static_cast<std::int64_t>(i % 360) - 180);
    w.field("isLocked", false);
    if (inFrame) {
      w.key("layout");
      w.beginObject();
      w.field("position", std::string("flow"));
      w.field("grow", 1.0);
      w.field("shrink", 1.0);
      w.endObject();
    }
    if (maskLayer != nullptr) {
      w.key("mask");
      w.beginObject();
      w.field("layerID", *maskLayer);
      w.field("invert", false);
      w.field("feather", 0.1);
      w.field("component", std::string("alpha"));
      w.endObject();
    }
    w.endObject();
  }

  void type(JsonWriter& w, std::size_t kind, std::size_t i) {
    w.beginObject();
    switch (kind) {
      case 0:
        w.key("text");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.field("alignment", std::string("center"));
        w.field("font", std::string("Helvetica Neue"));
        w.field("fontSize", 0.05);
        w.field("fontWeight", std::string("bold"));
        w.field("text", std::string("Welcome to the show, part ") + std::to_string(i));
        w.key("textColor");
        color(w);
        w.endObject();
        w.endObject();
        break;
      case 1:
        w.key("image");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.key("image");
        w.beginObject();
        w.field("name", nextID().toString());
        w.field("extension", std::string("png"));
        w.endObject();
        w.field("isAnimated", false);
        w.field("imageScaling", std::int64_t{2});
        w.field("originalWidth", 1920.0);
        w.field("originalHeight", 1080.0);
        w.field("fileName", std::string("overlay.png"));
        w.endObject();
        w.endObject();
        break;
      case 2:
        w.key("shape");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.field("shape", std::string("rectangle"));
        w.key("backgroundColor");
        color(w);
        w.endObject();
        w.endObject();
        break;
      case 3:
        w.key("feed");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.field("defaultDevice", false);
        w.field("deviceName", std::string("FaceTime HD Camera"));
        w.field("deviceID", std::string("0x1420000005ac8600"));
        w.field("position", std::int64_t{0});
        w.field("scaling", std::int64_t{0});
        w.endObject();
        w.endObject();
        break;
      case 4:
        w.key("web");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.field("url", std::string("https://www.example.com/overlay/") + std::to_string(i));
        w.key("pageSize");
        w.beginObject();
        w.key("preset");
        w.beginObject();
        w.field("width", std::int64_t{1920});
        w.field("height", std::int64_t{1080});
        w.endObject();
        w.endObject();
        w.field("audioRemoved", false);
        w.endObject();
        w.endObject();
        break;
      default:
        w.key("capture");
        w.beginObject();
        w.key("_0");
        w.beginObject();
        w.field("displayID", std::int64_t{1});
        w.field("name", std::string("Built-in Display"));
        w.endObject();
        w.endObject();
        break;
    }
    w.endObject();
  }

  void videoType(JsonWriter& w, const std::string& reference) {
    w.beginObject();
    w.key("video");
    w.beginObject();
    w.key("_0");
    w.beginObject();
    w.key("reference");
    w.beginObject();
    w.field("name", reference);
    w.field("extension", std::string("mov"));
    w.endObject();
    w.field("looping", std::string("loop"));
    w.field("fileName", std::string("clip.mov"));
    w.endObject();
    w.endObject();
    w.endObject();
  }

  void frameType(JsonWriter& w) {
    w.beginObject();
    w.key("frame");
    w.beginObject();
    w.key("_0");
    w.beginObject();
    w.field("direction", std::string("row"));
    w.field("justify", std::string("start"));
    w.field("align", std::string("center"));
    w.endObject();
    w.endObject();
    w.endObject();
  }

  void format(JsonWriter& w, const GeneratedSceneShape& shape, bool topLevel) {
    const std::size_t n = shape.layersPerFormat;
    std::vector<Uuid> ids(n);
    for (auto& id : ids) id = nextID();

    // Folder chains: every 25 layers a chain of `folderDepth` nested folders holding five layers,
    // every other layer, so that gathering folders has work to do.
    struct Folder {
      Uuid id;
      std::optional<Uuid> parent;
      bool isMask;
    };
    std::vector<Folder> folders;
    std::vector<std::optional<Uuid>> folderOf(n);
    std::vector<std::optional<std::pair<Uuid, bool>>> splitOf(n);  // group, isForeground
    std::vector<Folder> splits;
    std::vector<std::optional<Uuid>> frameOf(n);
    for (std::size_t start = 0; start + 9 <= n; start += 25) {
      std::optional<Uuid> parent;
      for (std::size_t d = 0; d < shape.folderDepth; ++d) {
        folders.push_back({nextID(), parent, false});
        parent = folders.back().id;
      }
      for (std::size_t k = 0; k < 5; ++k) {
        folderOf[start + 2 * k] = folders[folders.size() - 1 - (k % shape.folderDepth)].id;
      }
    }
    // Every 50 layers: a split pair at 10 and 12, and a frame at 20 with members 17 to 19.
    for (std::size_t start = 0; start + 21 <= n; start += 50) {
      Uuid group = nextID();
      splits.push_back({group, std::nullopt, false});
      splitOf[start + 10] = std::make_pair(group, true);
      splitOf[start + 12] = std::make_pair(group, false);
      for (std::size_t k = 17; k < 20; ++k) frameOf[start + k] = ids[start + 20];
    }

    w.key("elements");
    w.beginArray();
    std::string videoReference = nextID().toString();
    for (std::size_t i = 0; i < n; ++i) {
      w.beginObject();
      w.field("id", ids[i]);
      const Uuid* mask = (i % 20 == 7 && i + 1 < n) ? &ids[i + 1] : nullptr;
      w.key("settings");
      settings(w, i, mask, frameOf[i].has_value());
      if (folderOf[i] || splitOf[i]) {
        w.key("groupMembership");
        w.beginObject();
        if (splitOf[i]) {
          w.field("groupID", splitOf[i]->first);
          w.field("role", std::string(splitOf[i]->second ? "splitForeground" : "splitBackground"));
        } else {
          w.field("groupID", *folderOf[i]);
        }
        w.endObject();
      }
      if (frameOf[i]) w.field("frameID", *frameOf[i]);
      if (i % 2 == 1) w.field("futureLayerFlag", std::string("kept as read by versions that do not know it"));
      w.key("type");
      if (splitOf[i]) {
        videoType(w, videoReference);
      } else if (i % 50 == 20) {
        frameType(w);
      } else {
        type(w, i % 6, i);
      }
      w.endObject();
    }
    w.endArray();

    w.key("groups");
    w.beginArray();
    for (const auto& folder : folders) {
      w.value(folder.id);
      w.beginObject();
      w.field("id", folder.id);
      w.field("kind", std::string("folder"));
      w.field("name", std::string("Folder"));
      w.field("isCollapsed", false);
      w.optionalField("parentGroupID", folder.parent);
      w.endObject();
    }
    for (const auto& split : splits) {
      w.value(split.id);
      w.beginObject();
      w.field("id", split.id);
      w.field("kind", std::string("splitVideo"));
      w.field("isCollapsed", false);
      w.endObject();
    }
    w.endArray();

    w.key("backgroundColor");
    color(w);
    w.field("backgroundOpacity", 1.0);
    if (!topLevel) w.field("futureFormatKey", std::int64_t{42});
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace

std::string generateSceneDocument(const GeneratedSceneShape& shape) {
  Generator g(shape.seed);
  std::string out;
  out.reserve(shape.formats * shape.layersPerFormat * 900);
  JsonWriter w(out);
  w.beginObject();
  w.field("id", g.nextID().toString());
  w.field("name", std::string("Generated scene"));
  g.format(w, shape, true);
  w.field("aspectRatio", std::string(kAspects[0]));
  if (shape.formats > 1) {
    w.key("formats");
    w.beginObject();
    for (std::size_t f = 1; f < shape.formats && f < kAspects.size(); ++f) {
      w.key(kAspects[f]);
      w.beginObject();
      g.format(w, shape, false);
      w.endObject();
    }
    w.endObject();
  }
  w.field("version", std::int64_t{6});
  w.field("isTemplate", false);
  w.field("shouldAutoUpdateThumbnail", true);
  w.field("thumbnailActor", std::int64_t{2});
  w.field("futureTopLevelKey", std::string("kept"));
  w.key("futureSettings");
  w.beginObject();
  w.field("nested", true);
  w.field("level", 3.5);
  w.endObject();
  w.endObject();
  return out;
}

}  // namespace tav::bench
