#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tav/contracts/color_lookup_table.hpp"
#include "tav/testing/lookup_tables.hpp"

namespace tav {
namespace {

Image applied(const std::string& cube, const Image& image) {
  auto filter = parseColorLookupTable(testing::bytesOf(cube))->makeFilter();
  Image out = image;
  filter->apply(image, out, 0, image.height);
  return out;
}

void expectPixel(const Image& image, int x, int y, std::array<int, 4> expected) {
  const std::uint8_t* p = image.pixel(x, y);
  for (int c = 0; c < 4; ++c) EXPECT_NEAR(p[c], expected[static_cast<std::size_t>(c)], 1) << "channel " << c;
}

TEST(ColorLookupTable, AppliesThreeAndOneDimensionalTablesWithTheirDomain) {
  Image image = Image::filled(3, 2, 10, 200, 30, 77);
  image.pixel(2, 1)[0] = 255;

  const Image inverted = applied(testing::invertingCube(2), image);
  expectPixel(inverted, 0, 0, {245, 55, 225, 77});
  expectPixel(inverted, 2, 1, {0, 55, 225, 77});
  EXPECT_EQ(parseColorLookupTable(testing::bytesOf(testing::invertingCube(17)))->size3D(), 17);

  // Over the domain 0...2 the table halves its input: a pixel at 200/255 lands at 100/255.
  const std::string halvingOverWideDomain =
      "TITLE \"half\"\n# comment\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 2 2 2\nLUT_3D_SIZE 2\n"
      "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";
  expectPixel(applied(halvingOverWideDomain, image), 0, 0, {5, 100, 15, 77});

  const std::string halving1D = "LUT_1D_SIZE 2\n0 0 0\n0.5 0.5 0.5\n";
  expectPixel(applied(halving1D, image), 0, 0, {5, 100, 15, 77});
  EXPECT_EQ(parseColorLookupTable(testing::bytesOf(halving1D))->size1D(), 2);
}

TEST(ColorLookupTable, RefusesDamagedTablesWithTheirReason) {
  const std::string good = testing::invertingCube(2);
  struct Case {
    std::string text;
    std::string message;
  };
  for (const Case& c : std::vector<Case>{
           {good.substr(0, good.rfind('\n', good.size() - 2) + 1), "expected 8 entries for LUT_3D_SIZE 2, found 7"},
           {good.substr(0, good.size() - 12), "line 9: expected three numbers, found 2"},
           {good + "0 0 0\n", "expected 8 entries for LUT_3D_SIZE 2, found 9"},
           {"LUT_3D_SIZE 1000000\n0 0 0\n", "line 1: LUT_3D_SIZE 1000000 is outside 2...256"},
           {"LUT_3D_SIZE 2\nnan 0 0\n", "line 2: \"nan\" is not a finite number"},
           {"LUT_3D_SIZE 2\n0 0\n", "line 2: expected three numbers, found 2"},
           {"LUT_3D_SIZE 2\nDOMAIN_MIN 1 0 0\nDOMAIN_MAX 1 1 1\n" + good.substr(good.find('\n') + 1),
            "DOMAIN_MIN must be below DOMAIN_MAX in every channel"},
           {"\x89PNG\r\n", "line 1: expected three numbers, found 1"},
           {"LUT_3D_SIZE 2\nLUT_4D_SIZE 2\n", "line 2: unknown keyword \"LUT_4D_SIZE\""},
           {"", "no LUT_1D_SIZE or LUT_3D_SIZE: not a .cube table"},
       }) {
    EXPECT_THAT([&] { (void)parseColorLookupTable(testing::bytesOf(c.text)); },
                ::testing::ThrowsMessage<LookupTableError>(::testing::StrEq(c.message)));
  }
}

}  // namespace
}  // namespace tav
