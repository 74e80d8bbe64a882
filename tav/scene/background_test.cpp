#include "tav/scene/background.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tav/testing/scoped_environment_variable.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

// Points $XDG_CACHE_HOME at a fresh directory for one test and restores it afterwards.
struct ScopedCacheHome : testing::ScratchDirectory {
  ScopedCacheHome() : ScratchDirectory("tav-background-test"), variable("XDG_CACHE_HOME", path().string()) {}
  testing::ScopedEnvironmentVariable variable;
};

TEST(Background, JsonKeysInOrder) {
  Background background("BG_SUNRISE", "Sunrise", "sunrise", std::nullopt, MediaType::image);
  background.author = "A. Painter";
  EXPECT_EQ(encodeJson(background),
            R"({"id":"BG_SUNRISE","name":"Sunrise","stockImage":"sunrise","author":"A. Painter","mediaType":"image"})");
  EXPECT_EQ(decodeJson<Background>(encodeJson(background)), background);
  EXPECT_THROW(decodeJson<Background>(R"({"id":"x","name":"y"})"), DecodingError);
  EXPECT_THROW(decodeJson<Background>(R"({"id":"x","mediaType":"image"})"), DecodingError);
}

TEST(Background, StockBackgroundReferencesAndResourceImage) {
  Background background("BG_SUNRISE", "Sunrise", "sunrise", std::nullopt, MediaType::image);
  EXPECT_EQ(background.stockReference(),
            (TransferAssetReference{"STOCK_BACKGROUND_sunrise", std::nullopt, std::nullopt, {}}));
  EXPECT_EQ(background.thumbnailReference(), std::nullopt);
  EXPECT_EQ(background.url(), std::nullopt);
  EXPECT_EQ(background.videoURL(), std::nullopt);
  auto image = background.image();
  ASSERT_TRUE(image && image->resource());
  EXPECT_EQ(image->resource()->name, "Backgrounds/sunrise");
  EXPECT_EQ(background.title(), "Sunrise");

  Background plain("BG", "Plain", std::nullopt, std::nullopt, MediaType::image);
  EXPECT_EQ(plain.image(), std::nullopt);
  EXPECT_EQ(plain.stockReference(), std::nullopt);
}

TEST(Background, DeviceBackgroundsAreImagesAndVideos) {
  Background background;
  for (auto [type, usable] : {std::pair{MediaType::image, true}, {MediaType::video, true},
                              {MediaType::animatedImage, false}}) {
    background.mediaType = type;
    EXPECT_EQ(background.canBeUsedAsDeviceBackground(), usable) << rawValue(type);
  }
}

TEST(Background, StoredImageReadsItsBytesAndNamesItsThumbnail) {
  auto reference = HostTransferAssetManager::shared().makeFromBytes("PNG-BYTES", std::nullopt, "png");
  Background background("BG_OWN", "Mine", std::nullopt, reference, MediaType::image);
  auto image = background.image();
  ASSERT_TRUE(image && image->data());
  EXPECT_EQ(image->data()->bytes, "PNG-BYTES");
  EXPECT_EQ(background.thumbnailReference(),
            (TransferAssetReference{reference.name + "-thumbnail", std::nullopt, "png", {}}));

  TransferAssetReference missing;
  missing.name = "NOT-STORED";
  background.update(missing);
  EXPECT_EQ(background.reference, missing);
  EXPECT_EQ(background.image(), std::nullopt);
}

TEST(Background, VideoFileIsLinkedIntoThePlaybackCache) {
  ScopedCacheHome cache;
  auto reference = HostTransferAssetManager::shared().makeFromBytes("MOVIE", std::nullopt, "mov");
  Background background("BG_VIDEO", "Waves", std::nullopt, reference, MediaType::video);

  auto expected = cache / "Morvane" / "Tavo" / "Playback" / "BG_VIDEO.mov";
  ASSERT_TRUE(background.videoURL());
  EXPECT_EQ(background.videoURL()->filePath(), expected);
  EXPECT_FALSE(std::filesystem::exists(expected));

  auto prepared = background.prepareVideoFile();
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->filePath(), expected);
  std::ifstream in(expected, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(bytes, "MOVIE");
  // A second call finds the file and leaves it.
  EXPECT_EQ(background.prepareVideoFile(), prepared);

  auto bare = HostTransferAssetManager::shared().makeFromBytes("MOVIE", std::nullopt, std::nullopt);
  background.update(bare);
  EXPECT_EQ(background.videoURL(), std::nullopt);
  EXPECT_EQ(background.prepareVideoFile(), std::nullopt);
}

}  // namespace
}  // namespace tav
