#include "tav/structure/uuid_slots.hpp"

#include <gtest/gtest.h>

#include "tav/testing/scene_builders.hpp"

namespace tav::detail {
namespace {

using testing::id;

TEST(UuidSlots, NumbersDistinctIdsInFirstSeenOrderThroughGrowth) {
  // Started with room for two, so that 5,000 ids make the table grow many times; ids that differ only
  // in their last bytes, as generated content has them, share most of their bits.
  UuidSlots slots(2);
  for (unsigned k = 0; k < 5000; ++k) ASSERT_EQ(slots.insert(id(7 * k)), k);
  for (unsigned k = 0; k < 5000; ++k) {
    ASSERT_EQ(slots.insert(id(7 * k)), k);  // seen before: the same number, nothing added
    ASSERT_EQ(slots.find(id(7 * k)), k);
    ASSERT_EQ(slots.id(k), id(7 * k));
  }
  EXPECT_EQ(slots.size(), 5000u);
  EXPECT_EQ(slots.find(id(7 * 5000)), UuidSlots::npos);
  EXPECT_EQ(slots.find(id(3)), UuidSlots::npos);
  EXPECT_EQ(UuidSlots().find(id(1)), UuidSlots::npos);
}

}  // namespace
}  // namespace tav::detail
