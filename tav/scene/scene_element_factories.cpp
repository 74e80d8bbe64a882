// The constructors of new layers, one per kind, each from the defaults of its kind.
#include <exception>
#include <filesystem>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/video_track_geometry.hpp"
#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/scene_element.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("SceneElement");
  return instance;
}

SceneColor white() { return SceneColor(1, 1, 1, 1); }

/// The settings of a layer that fills the canvas, unrotated and with square corners. A web page takes
/// the common defaults too (opaque, shown); a camera leaves them open.
SceneElementSettings fullCanvas(bool lockAspectRatio, bool commonDefaults) {
  SceneElementSettings settings;
  settings.setRect(Rect(0, 0, 1, 1));
  settings.rotation = 0;
  settings._cornerRadius = 0;
  settings.lockAspectRatio = lockAspectRatio;
  if (commonDefaults) {
    settings.opacity = 1.0;
    settings.isHidden = false;
  }
  return settings;
}

}  // namespace

SceneElement SceneElement::fromText(std::string text) {
  SceneElementTextSettings settings;
  settings.alignment = SceneTextAlignment::center;
  settings.font = "Arial";
  settings.fontSize = 0.18;
  settings.fontWeight = "Regular";
  settings.text = std::move(text);
  settings.textColor = white();
  return SceneElement(Uuid::random(), std::move(settings), SceneElementSettings::defaultText());
}

SceneElement SceneElement::fromChatTheme(std::optional<ChatLayerTheme> theme) {
  SceneElementChatMessageSettings settings;
  settings.theme = theme;
  settings.showAvatar = true;
  settings.showServiceBadge = true;
  return SceneElement(Uuid::random(), std::move(settings), SceneElementSettings::defaultChat());
}

SceneElement SceneElement::fromShape(ShapeElementType shape, AspectRatio aspect) {
  SceneElementShapeSettings settings;
  settings.shape = shape;
  settings.backgroundColor = white();
  return SceneElement(Uuid::random(), std::move(settings), SceneElementSettings::defaultShape(shape, aspect));
}

SceneElement SceneElement::fromImageData(std::string_view imageData, Size imageSize, bool isAnimated,
                                         Size canvasSize, std::optional<std::string> fileName) {
  const Uuid id = Uuid::random();
  SceneElementImageSettings settings;
  try {
    std::optional<std::string> extension;
    if (fileName) {
      std::string text = std::filesystem::path(*fileName).extension().string();
      if (text.size() > 1) extension = text.substr(1);
    }
    settings.image = HostTransferAssetManager::shared().makeFromBytes(imageData, id.toString(), extension);
  } catch (const std::exception& error) {
    // The layer is still made; it shows nothing until the user picks the picture again.
    logger().error("Could not store the image of layer {}: {}", id.toString(), error.what());
  }
  settings.isAnimated = isAnimated;
  settings.imageScaling = ScaleMode::aspectFill;
  settings.originalWidth = imageSize.width;
  settings.originalHeight = imageSize.height;
  settings.fileName = std::move(fileName);
  return SceneElement(id, std::move(settings), SceneElementSettings::defaultImage(imageSize, canvasSize));
}

SceneElement SceneElement::fromVideoURL(const Url& videoURL, Size canvasSize) {
  const Uuid id = Uuid::random();
  SceneElementVideoSettings settings;
  try {
    settings.reference = HostTransferAssetManager::shared().makeForFile(videoURL, id.toString());
  } catch (const std::exception& error) {
    logger().error("Could not store the video of layer {}: {}", id.toString(), error.what());
  }
  settings.looping = Looping::loop;
  settings.fileName = videoURL.lastPathComponent();
  std::optional<Size> size;
  if (videoURL.isFileUrl()) {
    if (auto geometry = readVideoTrackGeometry(videoURL.filePath())) size = geometry->displaySize();
  }
  if (size) {
    settings.originalWidth = size->width;
    settings.originalHeight = size->height;
  }
  return SceneElement(id, std::move(settings), SceneElementSettings::defaultImage(size, canvasSize));
}

SceneElement SceneElement::fromCaptureType(const CaptureType& type, std::optional<Size> initialSize,
                                           Size canvasSize) {
  return SceneElement(Uuid::random(), SceneElementCaptureSettings(type),
                      SceneElementSettings::defaultCapture(initialSize, canvasSize));
}

SceneElement SceneElement::fromURL(const Url& url) {
  SceneElementWebSettings settings;
  settings.url = url;
  settings.audioRemoved = false;
  return SceneElement(Uuid::random(), std::move(settings), fullCanvas(false, true));
}

SceneElement SceneElement::fromDevice(std::optional<std::string> deviceID, bool defaultDevice, double size) {
  SceneElementFeedSettings feed;
  feed.deviceID = std::move(deviceID);
  feed.defaultDevice = defaultDevice;
  SceneElementSettings settings = fullCanvas(true, false);
  settings.width = size;
  settings.height = size;
  return SceneElement(Uuid::random(), std::move(feed), std::move(settings));
}

SceneElement SceneElement::fromPosition(Position position, std::optional<std::string> sourceType) {
  SceneElementFeedSettings feed;
  feed.defaultDevice = true;
  feed.position = position;
  feed.sourceType = std::move(sourceType);
  SceneElementSettings settings = fullCanvas(true, false);
  if (position != Position::primary) settings.setRect(Rect(0.05, 0.65, 0.25, 0.25));
  return SceneElement(Uuid::random(), std::move(feed), std::move(settings));
}

SceneElement SceneElement::fromFrame(const SceneFrameSettings& frame, SceneElementSettings settings) {
  return SceneElement(Uuid::random(), SceneElementType(frame), std::move(settings));
}

}  // namespace tav
