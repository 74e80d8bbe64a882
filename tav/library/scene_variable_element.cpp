// The layer that shows a scene variable: SceneElement::fromVariable lives with the variables, since the
// layer model sits below them and only names them.
#include <exception>
#include <span>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/image.hpp"
#include "tav/library/scene_variable.hpp"
#include "tav/scene/scene_element.hpp"

namespace tav {
namespace {

/// The pixel size of the variable's picture; absent when it holds none or its bytes are no picture.
std::optional<Size> imageSize(const SceneVariable& variable) {
  if (const std::optional<TransferAssetReference> reference = variable.reference()) {
    try {
      const std::string bytes = HostTransferAssetManager::shared().read(*reference);
      const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
      if (auto image = decodeImage(std::span<const std::uint8_t>(data, bytes.size()))) {
        return Size{static_cast<double>(image->width), static_cast<double>(image->height)};
      }
    } catch (const std::exception&) {
      // An asset that can't be read leaves the size open, as bytes that aren't a picture do.
    }
    return std::nullopt;
  }
  // Without a picture yet, the profile picture is drawn by the host at a fixed size.
  if (variable.replacedText() == "profilePicture") return Size{64, 64};
  return std::nullopt;
}

}  // namespace

SceneElement SceneElement::fromVariable(const SceneVariable& variable, Size canvasSize) {
  SceneElementImageSettings image;
  image.variable = variable.replacedText();
  const std::optional<Size> size = imageSize(variable);
  if (size) {
    image.originalWidth = size->width;
    image.originalHeight = size->height;
  }
  SceneElementSettings settings = SceneElementSettings::defaultImage(size, canvasSize);
  settings.lockAspectRatio = false;
  return SceneElement(Uuid::random(), std::move(image), std::move(settings));
}

}  // namespace tav
