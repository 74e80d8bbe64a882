#include "tav/scene/background.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tav/contracts/uuid.hpp"

namespace tav {
namespace {

// Points $XDG_CACHE_HOME at a fresh directory for one test and restores it afterwards.
class ScopedCacheHome {
 public:
  ScopedCacheHome() {
    if (const char* old = std::getenv("XDG_CACHE_HOME")) previous_ = old;
    directory_ = std::filesystem::temp_directory_path() /
                 ("tav-background-test-" + Uuid::random().toString());
    std::filesystem::create_directories(directory_);
    setenv("XDG_CACHE_HOME", directory_.c_str(), 1);
  }
  ~ScopedCacheHome() {
    if (previous_) {
      setenv("XDG_CACHE_HOME", previous_->c_str(), 1);
    } else {
      unsetenv("XDG_CACHE_HOME");
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  const std::filesystem::path& directory() const { return directory_; }

 private:
  std::filesystem::path directory_;
  std::optional<std::string> previous_;
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
  ASSERT_TRUE(background.stockReference());
  EXPECT_EQ(background.stockReference()->name, "STOCK_BACKGROUND_sunrise");
  EXPECT_EQ(background.stockReference()->pathExtension, std::nullopt);
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
  auto thumbnail = background.thumbnailReference();
  ASSERT_TRUE(thumbnail);
  EXPECT_EQ(thumbnail->name, reference.name + "-thumbnail");
  EXPECT_EQ(thumbnail->pathExtension, "png");

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

  auto expected = cache.directory() / "Morvane" / "Tavo" / "Playback" / "BG_VIDEO.mov";
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
