#include "tav/scene/element_placement.hpp"

namespace tav {
SceneLayoutItem defaultFrameMemberLayout(const SceneElement& element) {
  SceneLayoutItem item;
  item.position = SceneLayoutItem::Position::flow;
  item.grow = 0;
  item.shrink = 1;
  if (element.type().isText()) return item;
  const SceneFrameSettings* frame = element.type().frameSettings();
  // Sizes in points are measured on the 1920 by 1080 reference canvas.
  auto dimension = [frame](std::optional<bool> hugsContent, std::optional<double> fraction, double reference) {
    if (frame && hugsContent.value_or(false)) return SceneDimension::auto_();
    return SceneDimension{fraction.value_or(0) * reference, SceneDimension::Unit::point};
  };
  item.width = dimension(frame ? frame->widthHugsContent : std::nullopt, element.settings().width, 1920);
  item.height = dimension(frame ? frame->heightHugsContent : std::nullopt, element.settings().height, 1080);
  return item;
}

SceneElement ElementPlacement::applied(const SceneElement& element,
                                       const std::optional<SceneLayoutItem>& memberLayout) const {
  SceneElement result = element;
  result.setGroupMembership(membership);
  if (!frameID) return result;
  result.setFrameID(frameID);
  auto& settings = result.settings();
  bool usedDefault = false;
  if (memberLayout) {
    settings.layout = *memberLayout;
  } else if (!settings.layout) {
    settings.layout = defaultFrameMemberLayout(element);
    usedDefault = true;
  }
  result.setSettingsUpdated(true);
  // A default layout fixes both sides in points, so a locked ratio would fight the flex layout; text
  // sizes itself and frames lay out their own members, so they keep their lock.
  if (usedDefault && !element.type().isText() && !element.type().isFrame()) settings.lockAspectRatio = false;
  return result;
}

}  // namespace tav
