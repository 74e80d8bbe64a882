#include "tav/library/asset_cache.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>

#include "tav/testing/lookup_tables.hpp"

namespace tav {
namespace {

TransferAssetReference reference(const std::string& name) {
  TransferAssetReference r;
  r.name = name;
  return r;
}

class AssetCacheTest : public ::testing::Test {
 protected:
  AssetCacheTest() : cache(services()) {}

  AssetCache::Services services() {
    AssetCache::Services s;
    s.readAsset = [this](const TransferAssetReference& r) -> std::optional<std::string> {
      ++reads[r.name];
      auto it = assets.find(r.name);
      if (it == assets.end()) return std::nullopt;
      return it->second;
    };
    s.sampleImage = [] {
      // The shipped sample picture, read as the installed library reads it.
      const std::string path = std::string(TAV_SOURCE_DIR) + "/data/sampleFilter.png";
      std::ifstream in(path, std::ios::binary);
      const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      auto image = decodeImage(testing::bytesOf(bytes));
      return image ? std::make_shared<const Image>(std::move(*image)) : nullptr;
    };
    return s;
  }

  static std::string png(const Image& image) {
    auto bytes = encodePNG(image);
    return std::string(bytes.begin(), bytes.end());
  }

  std::map<std::string, std::string> assets{
      {"photo.png", png(Image::filled(4, 3, 10, 20, 30, 255))},
      {"invert.cube", testing::invertingCube(2)},
      {"notes.txt", "neither a picture nor a table"},
  };
  std::map<std::string, int> reads;
  AssetCache cache;
};

TEST_F(AssetCacheTest, PicturesAreDecodedOnceAndServedWithoutAReference) {
  EXPECT_EQ(cache.getImage("p", std::nullopt), nullptr);
  const CachedImage first = cache.getImage("p", reference("photo.png"));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(std::tuple(first->width, first->pixel(1, 1)[2]), std::tuple(4, 30));
  EXPECT_EQ(cache.getImage("p", std::nullopt), first);
  EXPECT_EQ(cache.getImage("p", reference("photo.png")), first);
  EXPECT_EQ(reads["photo.png"], 1);
  EXPECT_TRUE(cache.filterCache().empty());

  cache.invalidate("unknown");
  EXPECT_EQ(cache.imageCache().size(), 1u);
  cache.invalidate("p");
  EXPECT_EQ(cache.getImage("p", std::nullopt), nullptr);
}

TEST_F(AssetCacheTest, TablesRenderOverTheBaseImageOncePerBase) {
  const CachedImage preview = cache.getImage("lut", reference("invert.cube"));
  ASSERT_NE(preview, nullptr);
  EXPECT_EQ(preview->width, 400);  // the sample picture's size
  EXPECT_EQ(cache.filterCache().count("lut"), 1u);
  EXPECT_EQ(cache.getImage("lut", reference("invert.cube")), preview);

  cache.setImage("photo", cache.getImage("photo", reference("photo.png")));
  cache.setBaseImage(std::make_shared<const Image>(Image::filled(2, 2, 0, 100, 255, 128)));
  EXPECT_EQ(std::tuple(cache.imageCache().count("lut"), cache.imageCache().count("photo")), std::tuple(0u, 1u));
  const CachedImage again = cache.getImage("lut", std::nullopt);
  ASSERT_NE(again, nullptr);
  const std::uint8_t* p = again->pixel(1, 1);
  EXPECT_NEAR(p[0], 255, 1);
  EXPECT_NEAR(p[1], 155, 1);
  EXPECT_NEAR(p[2], 0, 1);
  EXPECT_EQ(p[3], 128);
  EXPECT_EQ(reads["invert.cube"], 1);

  // A filter set by hand renders without a reference.
  cache.setFilter("manual", cache.filterCache().at("lut"));
  EXPECT_NE(cache.getImage("manual", std::nullopt), nullptr);
}

TEST_F(AssetCacheTest, BytesThatAreNeitherGiveNothingAndAreTriedAgain) {
  EXPECT_EQ(cache.getImage("n", reference("notes.txt")), nullptr);
  EXPECT_EQ(cache.getImage("n", reference("missing.png")), nullptr);
  EXPECT_TRUE(cache.imageCache().empty());
  EXPECT_TRUE(cache.filterCache().empty());
  EXPECT_EQ(cache.getImage("n", reference("notes.txt")), nullptr);
  EXPECT_EQ(reads["notes.txt"], 2);
}

TEST(FilterRenderContext, EveryRowIsRenderedOnceWhateverTheThreadCount) {
  class CountingFilter final : public ColorFilter {
   public:
    void apply(const Image& input, Image& output, int firstRow, int rowCount) const override {
      for (int y = firstRow; y < firstRow + rowCount; ++y) {
        for (int x = 0; x < input.width; ++x) {
          for (int c = 0; c < 4; ++c) output.pixel(x, y)[c] = static_cast<std::uint8_t>(input.pixel(x, y)[c] + 1);
        }
      }
    }
  } filter;
  const Image input = Image::filled(7, 301, 1, 2, 3, 4);
  for (unsigned threads : {1u, 2u, 3u}) {
    FilterRenderContext context(threads);
    for (int round = 0; round < 3; ++round) EXPECT_EQ(context.render(filter, input), Image::filled(7, 301, 2, 3, 4, 5));
    EXPECT_TRUE(context.render(filter, Image{}).isEmpty());
  }
}

}  // namespace
}  // namespace tav
