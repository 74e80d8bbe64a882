#include "scene_new_command.hpp"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "exit_status.hpp"
#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/image.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/foundation/media_helpers.hpp"
#include "tav/platform/directory_transfer_asset_manager.hpp"
#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/scene.hpp"

namespace tav::tool {
namespace {

struct NewOptions {
  std::string aspect;
  std::string name;
  /// One entry per --add: "KIND", "KIND=ARG", or "KIND" and "ARG".
  std::vector<std::vector<std::string>> layers;
  std::string assets;
};

/// A failure to make one layer: the message for the person and the exit status.
struct LayerError {
  std::string message;
  int status;
};

constexpr const char* kKinds = "text, shape, circle, image FILE, video FILE, web URL, feed, chat, capture";

std::optional<std::string> readFile(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return bytes;
}

SceneElement imageLayer(const std::string& file, Size canvas) {
  const std::optional<std::string> bytes = readFile(file);
  if (!bytes) throw LayerError{file + ": cannot be read", kNoInput};
  const std::span<const std::uint8_t> data(reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size());
  const std::optional<Image> picture = decodeImage(data);
  if (!picture) throw LayerError{file + ": not a picture that can be read (PNG, JPEG, GIF, WebP, TIFF, BMP)", kDataError};
  return SceneElement::fromImageData(*bytes, Size{static_cast<double>(picture->width), static_cast<double>(picture->height)},
                                     isAnimatedGIF(data), canvas, std::filesystem::path(file).filename().string());
}

/// One layer from "KIND", "KIND=ARG" or "KIND ARG".
SceneElement makeLayer(const std::vector<std::string>& words, AspectRatio aspect) {
  const std::string& kindText = words.at(0);
  const std::size_t equals = kindText.find('=');
  const std::string kind = kindText.substr(0, equals);
  std::optional<std::string> argument;
  if (equals != std::string::npos) argument = kindText.substr(equals + 1);
  if (words.size() > 1) {
    if (argument || words.size() > 2) throw LayerError{"--add " + kind + " takes one argument", kUsage};
    argument = words[1];
  }
  const Size canvas = canonicalSize(aspect);
  const auto needArgument = [&](const char* what) -> const std::string& {
    if (!argument || argument->empty()) throw LayerError{"--add " + kind + " needs " + what + " (" + kind + "=...)", kUsage};
    return *argument;
  };
  if (kind == "text") return SceneElement::fromText(argument.value_or("Text"));
  if (kind == "shape" || kind == "circle") {
    ShapeElementType shape = kind == "circle" ? ShapeElementType::circle : ShapeElementType::rectangle;
    if (kind == "shape" && argument) {
      const auto parsed = enumFromRawValue<ShapeElementType>(*argument);
      if (!parsed) throw LayerError{"unknown shape \"" + *argument + "\" (rectangle or circle)", kUsage};
      shape = *parsed;
    }
    return SceneElement::fromShape(shape, aspect);
  }
  if (kind == "image") return imageLayer(needArgument("a picture file"), canvas);
  if (kind == "video") {
    const std::string& file = needArgument("a movie file");
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) throw LayerError{file + ": no such file", kNoInput};
    return SceneElement::fromVideoURL(Url::fileUrl(std::filesystem::absolute(file)), canvas);
  }
  if (kind == "web") {
    const std::optional<Url> url = Url::parse(needArgument("an address"));
    if (!url || url->scheme().empty()) throw LayerError{"\"" + *argument + "\" is not a web address", kUsage};
    return SceneElement::fromURL(*url);
  }
  if (kind == "feed") {
    if (argument) return SceneElement::fromDevice(*argument, false, 1.0);
    return SceneElement::fromPosition(Position::primary, std::nullopt);
  }
  if (kind == "chat") {
    if (!argument) return SceneElement::fromChatTheme(std::nullopt);
    const auto theme = enumFromRawValue<ChatLayerTheme>(*argument);
    if (!theme) throw LayerError{"unknown chat theme \"" + *argument + "\"", kUsage};
    return SceneElement::fromChatTheme(theme);
  }
  if (kind == "capture") {
    std::uint32_t display = 0;
    if (argument) {
      const auto [end, error] = std::from_chars(argument->data(), argument->data() + argument->size(), display);
      if (error != std::errc() || end != argument->data() + argument->size()) {
        throw LayerError{"capture takes a display number, not \"" + *argument + "\"", kUsage};
      }
    }
    return SceneElement::fromCaptureType(CaptureType::display(display, "Display " + std::to_string(display)),
                                         std::nullopt, canvas);
  }
  throw LayerError{"unknown layer kind \"" + kind + "\" (one of " + kKinds + ")", kUsage};
}

int runNew(const NewOptions& options) {
  const auto aspect = enumFromRawValue<AspectRatio>(options.aspect);
  if (!aspect) {
    std::cerr << "tavo: unknown aspect \"" << options.aspect
              << "\" (one of landscape, portrait, fourByThree, threeByFour, square, unknown)\n";
    return kUsage;
  }
  if (!options.assets.empty()) {
    std::error_code error;
    std::filesystem::create_directories(options.assets, error);
    if (error) {
      std::cerr << "tavo: " << options.assets << ": " << error.message() << '\n';
      return kNoInput;
    }
    HostTransferAssetManager::setShared(std::make_shared<DirectoryTransferAssetManager>(options.assets));
  }
  if (options.layers.empty()) {
    Scene scene = Scene::defaultScene(*aspect);
    if (!options.name.empty()) scene.renameOverlay(options.name);
    std::cout << encodeJson(scene) << '\n';
    return kSuccess;
  }
  std::vector<SceneElement> layers;
  try {
    // Each layer goes in front of the ones before it, as a layer the user adds does.
    for (const auto& words : options.layers) layers.insert(layers.begin(), makeLayer(words, *aspect));
  } catch (const LayerError& error) {
    std::cerr << "tavo: " << error.message << '\n';
    return error.status;
  }
  const Scene scene = Scene::withElements(Uuid::random().toString(), std::nullopt,
                                          options.name.empty() ? "New Scene" : options.name, *aspect, std::move(layers));
  std::cout << encodeJson(scene) << '\n';
  return kSuccess;
}

}  // namespace

void addSceneNewCommand(CLI::App& scene, int& status) {
  auto options = std::make_shared<NewOptions>();
  auto* command = scene.add_subcommand(
      "new", "Make a new scene with the library's defaults and write it as normalize does. Without --add it is the "
             "stock scene of the aspect (one full-canvas camera)");
  command->add_option("--aspect", options->aspect, "landscape, portrait, fourByThree, threeByFour, square")->required();
  command->add_option("--name", options->name, "The scene's name");
  command->add_option("--add", options->layers,
                      std::string("A layer, KIND, KIND=ARG or KIND ARG, each in front of the one before: ") + kKinds +
                          " (shape=circle, feed=DEVICE_ID, chat=THEME, capture=DISPLAY also work)")
      ->expected(1, 2);
  command->add_option("--assets", options->assets,
                      "Store image and video files in this folder (kept in memory and dropped otherwise)");
  command->callback([options, &status] { status = runNew(*options); });
}

}  // namespace tav::tool
