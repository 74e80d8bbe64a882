#include "tav/scene/aspect_ratio.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(AspectRatio, UnknownTextReadsAsUnknownAndWritesBackAsUnknown) {
  AspectRatio aspect = decodeJson<AspectRatio>(R"("wide")");
  EXPECT_EQ(aspect, AspectRatio::unknown);
  EXPECT_EQ(encodeJson(aspect), R"("unknown")");
  EXPECT_EQ(decodeJson<AspectRatio>(R"("fourByThree")"), AspectRatio::fourByThree);
  EXPECT_THROW(decodeJson<AspectRatio>("3"), DecodingError);
}

TEST(AspectRatio, TableValues) {
  struct Row {
    AspectRatio aspect;
    const char* raw;
    const char* title;
    const char* menuTitle;
    const char* formatName;
    double value;
    bool isVertical;
    Size size;
  };
  const Row rows[] = {
      {AspectRatio::landscape, "landscape", "16:9", "Landscape 16:9", "Landscape", 16.0 / 9.0, false, {1920, 1080}},
      {AspectRatio::portrait, "portrait", "9:16", "Portrait 9:16", "Portrait", 0.5625, true, {1080, 1920}},
      {AspectRatio::fourByThree, "fourByThree", "4:3", "Landscape 4:3", "Landscape", 4.0 / 3.0, false, {1440, 1080}},
      {AspectRatio::threeByFour, "threeByFour", "3:4", "Portrait 3:4", "Portrait", 0.75, true, {1080, 1440}},
      {AspectRatio::square, "square", "1:1", "Square", "Square", 1.0, false, {1080, 1080}},
      {AspectRatio::unknown, "unknown", "16:9", "Landscape 16:9", "Landscape", 16.0 / 9.0, false, {1920, 1080}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.raw);
    EXPECT_EQ(rawValue(row.aspect), row.raw);
    EXPECT_EQ(title(row.aspect), row.title);
    EXPECT_EQ(menuTitle(row.aspect), row.menuTitle);
    EXPECT_EQ(formatName(row.aspect), row.formatName);
    EXPECT_EQ(value(row.aspect), row.value);
    EXPECT_EQ(isVertical(row.aspect), row.isVertical);
    EXPECT_EQ(canonicalSize(row.aspect), row.size);
  }
}

TEST(AspectRatio, CaseListsInTableOrder) {
  EXPECT_EQ(allCases<AspectRatio>(), (std::array{AspectRatio::landscape, AspectRatio::portrait, AspectRatio::fourByThree,
                                                 AspectRatio::threeByFour, AspectRatio::square, AspectRatio::unknown}));
  EXPECT_EQ(allNonunknownCases<AspectRatio>(),
            (std::vector{AspectRatio::landscape, AspectRatio::portrait, AspectRatio::fourByThree,
                         AspectRatio::threeByFour, AspectRatio::square}));
}

}  // namespace
}  // namespace tav
