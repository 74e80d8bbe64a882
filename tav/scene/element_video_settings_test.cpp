#include "tav/scene/element_video_settings.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <gtest/gtest.h>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/in_memory_transfer_asset_manager.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

/// Installs a fresh in-memory store for one test and removes it afterwards.
class VideoFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store_ = std::make_shared<InMemoryTransferAssetManager>();
    HostTransferAssetManager::setShared(store_);
  }
  void TearDown() override { HostTransferAssetManager::setShared(nullptr); }

  std::shared_ptr<InMemoryTransferAssetManager> store_;
};

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream input(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

TEST_F(VideoFileTest, PrepareLinksThePlayableFileOnce) {
  SceneElementVideoSettings s;
  EXPECT_FALSE(s.prepareVideoFile().has_value());
  EXPECT_FALSE(s.url().has_value());

  s.reference = store_->makeFromBytes("movie bytes", std::string("layer"), std::string("mov"));
  auto source = s.url();
  ASSERT_TRUE(source.has_value());
  EXPECT_EQ(s.videoURL(), source);
  EXPECT_EQ(contentsOf(source->filePath()), "movie bytes");

  auto playable = s.prepareVideoFile();
  ASSERT_TRUE(playable.has_value());
  EXPECT_EQ(playable, store_->playableFile(*s.reference));
  EXPECT_TRUE(std::filesystem::equivalent(playable->filePath(), source->filePath()));

  // A file already there is used as it is.
  EXPECT_EQ(s.prepareVideoFile(), playable);

  // A reference to nothing stored has neither.
  s.reference = TransferAssetReference{"NOT-STORED", std::nullopt, std::string("mov"), {}};
  EXPECT_FALSE(s.url().has_value());
  EXPECT_FALSE(s.prepareVideoFile().has_value());
}

/// A store whose source file is missing, so no link to it can be made.
class MissingSourceStore final : public HostTransferAssetManager {
 public:
  explicit MissingSourceStore(std::filesystem::path directory) : directory_(std::move(directory)) {}
  TransferAssetReference makeFromBytes(std::string_view, std::optional<std::string>,
                                       std::optional<std::string>) override {
    return {};
  }
  TransferAssetReference makeForFile(const Url&, const std::string&) override { return {}; }
  TransferAssetReference duplicate(const TransferAssetReference& r, const std::string&) override { return r; }
  std::string read(const TransferAssetReference&) override { return {}; }
  std::optional<Url> locate(const TransferAssetReference&) override { return Url::fileUrl(directory_ / "gone"); }
  std::optional<Url> thumbnail(const TransferAssetReference&) override { return std::nullopt; }
  std::optional<Url> playableFile(const TransferAssetReference&) override {
    return Url::fileUrl(directory_ / "playable" / "gone.mov");
  }

 private:
  std::filesystem::path directory_;
};

TEST(SceneElementVideoSettings, FailureToLinkIsThrown) {
  const testing::ScratchDirectory directory("tav-video");
  HostTransferAssetManager::setShared(std::make_shared<MissingSourceStore>(directory.path()));
  SceneElementVideoSettings s;
  s.reference = TransferAssetReference{"gone", std::nullopt, std::string("mov"), {}};
  EXPECT_THROW(s.prepareVideoFile(), std::filesystem::filesystem_error);
  HostTransferAssetManager::setShared(nullptr);
}

TEST(SceneElementVideoSettings, JsonInFieldOrder) {
  SceneElementVideoSettings s;
  s.fileName = "clip.mov";
  s.looping = Looping::loop;
  s.originalWidth = 1920;
  EXPECT_EQ(encodeJson(s), R"({"looping":"loop","originalWidth":1920,"fileName":"clip.mov"})");
  EXPECT_EQ(decodeJson<SceneElementVideoSettings>(encodeJson(s)), s);
}

}  // namespace
}  // namespace tav
