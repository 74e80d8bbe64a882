#include "tav/structure/member_sizing.hpp"

namespace tav::MemberSizing {
namespace {

std::optional<SceneDimension>& dimension(SceneLayoutItem& item, SceneLayoutAxis axis) {
  return axis == SceneLayoutAxis::width ? item.width : item.height;
}

/// The grow and alignSelf half of apply(): what a mode asks of the flex fields on this axis.
void applyFlex(SceneSizeMode mode, SceneLayoutAxis axis, SceneFlexDirection direction, SceneLayoutItem& item) {
  bool fill = mode == SceneSizeMode::fill;
  if (isMainAxis(axis, direction)) {
    item.grow = fill ? 1.0 : 0;
  } else if (fill) {
    item.alignSelf = SceneFlexAlign::stretch;
  } else if (item.alignSelf == SceneFlexAlign::stretch) {
    item.alignSelf.reset();
  }
}

}  // namespace

SceneSizeMode mode(const std::optional<SceneLayoutItem>& item, SceneLayoutAxis axis, SceneFlexDirection direction) {
  if (isMainAxis(axis, direction)) {
    if (item && item->grow > 0) return SceneSizeMode::fill;
  } else if (item && item->alignSelf == SceneFlexAlign::stretch) {
    return SceneSizeMode::fill;
  }
  const std::optional<SceneDimension>* size = nullptr;
  if (item) size = axis == SceneLayoutAxis::width ? &item->width : &item->height;
  if (!size || !*size || (*size)->unit == SceneDimension::Unit::auto_) return SceneSizeMode::hug;
  return SceneSizeMode::fixed;
}

void apply(SceneSizeMode mode, SceneLayoutAxis axis, SceneFlexDirection direction, double pointSize,
           SceneLayoutItem& item) {
  switch (mode) {
    case SceneSizeMode::fill:
      dimension(item, axis).reset();
      break;
    case SceneSizeMode::hug:
      dimension(item, axis) = SceneDimension::auto_();
      break;
    case SceneSizeMode::fixed:
      dimension(item, axis) = SceneDimension{pointSize, SceneDimension::Unit::point};
      break;
  }
  applyFlex(mode, axis, direction, item);
}

std::optional<SceneLayoutItem> migrating(const std::optional<SceneLayoutItem>& item, SceneFlexDirection from,
                                         SceneFlexDirection to) {
  if (from == to || !item) return item;
  SceneSizeMode widthMode = mode(item, SceneLayoutAxis::width, from);
  SceneSizeMode heightMode = mode(item, SceneLayoutAxis::height, from);
  SceneLayoutItem result = *item;
  applyFlex(widthMode, SceneLayoutAxis::width, to, result);
  applyFlex(heightMode, SceneLayoutAxis::height, to, result);
  for (auto [axis, axisMode] : {std::pair{SceneLayoutAxis::width, widthMode}, {SceneLayoutAxis::height, heightMode}}) {
    if (axisMode == SceneSizeMode::fill) dimension(result, axis).reset();
    if (axisMode == SceneSizeMode::hug) dimension(result, axis) = SceneDimension::auto_();
  }
  return result;
}

}  // namespace tav::MemberSizing
