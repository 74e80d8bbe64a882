#include "tav/scene/element_placement.hpp"

namespace tav {
namespace {

// The reference canvas that member sizes in points are measured on.
constexpr double kReferenceWidth = 1920;
constexpr double kReferenceHeight = 1080;

/// The layout a layer gets on joining a frame without one of its own: in the flow, no growth,
/// shrinking 1, and sized as the layer stands on the reference canvas. A frame that hugs its content
/// sizes itself in that axis; a text layer sizes itself in both.
SceneLayoutItem defaultMemberLayout(const SceneElement& element) {
  SceneLayoutItem layout;
  layout.position = SceneLayoutItem::Position::flow;
  layout.grow = 0;
  layout.shrink = 1;
  if (element.type().isText()) return layout;
  const SceneFrameSettings* frame = element.type().frameSettings();
  const auto& settings = element.settings();
  if (frame != nullptr && frame->widthHugsContent.value_or(false)) {
    layout.width = SceneDimension::auto_();
  } else {
    layout.width = SceneDimension{settings.width.value_or(0) * kReferenceWidth, SceneDimension::Unit::point};
  }
  if (frame != nullptr && frame->heightHugsContent.value_or(false)) {
    layout.height = SceneDimension::auto_();
  } else {
    layout.height = SceneDimension{settings.height.value_or(0) * kReferenceHeight, SceneDimension::Unit::point};
  }
  return layout;
}

}  // namespace

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
    settings.layout = defaultMemberLayout(element);
    usedDefault = true;
  }
  result.setSettingsUpdated(true);
  // A default layout fixes both sides in points, so a locked ratio would fight the flex layout; text
  // sizes itself and frames lay out their own members, so they keep their lock.
  if (usedDefault && !element.type().isText() && !element.type().isFrame()) settings.lockAspectRatio = false;
  return result;
}

}  // namespace tav
