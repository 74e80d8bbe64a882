#include "tav/scene/element_index_cache.hpp"

#include <gtest/gtest.h>

#include "tav/scene/scene.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using testing::id;
using testing::sceneWith;
using testing::shapeLayer;

TEST(SceneLookup, FindsLayersByIdThroughEditsAndPerAspect) {
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), shapeLayer(3)});
  EXPECT_EQ(scene.indexOfElement(id(3)), 2u);
  ASSERT_NE(scene.elementWithID(id(2)), nullptr);
  EXPECT_EQ(scene.elementWithID(id(2))->id(), id(2));
  EXPECT_FALSE(scene.indexOfElement(id(9)));

  // Edits after a look-up: the cached places are stale and must not be trusted.
  scene.move(2, 0);
  EXPECT_EQ(std::tuple(scene.indexOfElement(id(3)), scene.indexOfElement(id(1))), std::tuple(0u, 1u));
  scene.removeElement(id(1));
  EXPECT_FALSE(scene.indexOfElement(id(1)));
  scene.update(0, shapeLayer(7));
  EXPECT_EQ(scene.indexOfElement(id(7)), 0u);
  EXPECT_FALSE(scene.indexOfElement(id(3)));

  // Another aspect has its own array; a copy of the scene answers for its own arrays.
  EXPECT_FALSE(scene.indexOfElement(id(7), AspectRatio::portrait));
  scene.updateFormat(AspectRatio::portrait, [](SceneFormat& format) { format.elements = {shapeLayer(8)}; });
  EXPECT_EQ(scene.indexOfElement(id(8), AspectRatio::portrait), 0u);
  Scene copy = scene;
  copy.updateFormat(AspectRatio::portrait, [](SceneFormat& format) { format.elements.insert(format.elements.begin(), shapeLayer(9)); });
  EXPECT_EQ(copy.indexOfElement(id(8), AspectRatio::portrait), 1u);
  EXPECT_EQ(scene.indexOfElement(id(8), AspectRatio::portrait), 0u);
  EXPECT_NE(copy, scene);
}

}  // namespace
}  // namespace tav
