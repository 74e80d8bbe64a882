#include "tav/platform/directory_transfer_asset_manager.hpp"

#include <memory>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/in_memory_transfer_asset_manager.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/platform/atomic_file.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

using testing::ScratchDirectory;

// The behaviour every store shares, run over the directory store and the in-memory default.
template <class Store>
class TransferAssetStore : public ::testing::Test {
 protected:
  std::unique_ptr<HostTransferAssetManager> makeStore() {
    if constexpr (std::is_same_v<Store, DirectoryTransferAssetManager>) {
      return std::make_unique<DirectoryTransferAssetManager>(directory.path() / "assets");
    } else {
      return std::make_unique<InMemoryTransferAssetManager>();
    }
  }
  ScratchDirectory directory;
};

using Stores = ::testing::Types<DirectoryTransferAssetManager, InMemoryTransferAssetManager>;
TYPED_TEST_SUITE(TransferAssetStore, Stores);

TYPED_TEST(TransferAssetStore, BytesReadBackAndLocateAsARealFile) {
  auto store = this->makeStore();
  std::string bytes("\x89PNG\0\x01", 6);
  TransferAssetReference reference = store->makeFromBytes(bytes, "LAYER-1", "png");
  EXPECT_EQ(reference.ownerID, "LAYER-1");
  EXPECT_EQ(reference.pathExtension, "png");
  EXPECT_EQ(store->read(reference), bytes);

  std::optional<Url> located = store->locate(reference);
  ASSERT_TRUE(located.has_value());
  EXPECT_EQ(located->lastPathComponent(), reference.name + ".png");
  EXPECT_EQ(readWholeFile(located->filePath()), bytes);

  std::optional<Url> playable = store->playableFile(reference);
  ASSERT_TRUE(playable.has_value());
  EXPECT_EQ(playable->lastPathComponent(), reference.name + ".png");
  EXPECT_EQ(playable->filePath().parent_path().filename(), "playable");
  // The caller links the asset into place, as a video layer does before playing it.
  EXPECT_FALSE(std::filesystem::exists(playable->filePath()));
  std::filesystem::create_hard_link(located->filePath(), playable->filePath());
  EXPECT_EQ(readWholeFile(playable->filePath()), bytes);
  EXPECT_FALSE(store->thumbnail(reference).has_value());
}

TYPED_TEST(TransferAssetStore, DuplicateIsAnIndependentCopyForTheNewOwner) {
  auto store = this->makeStore();
  TransferAssetReference original = store->makeFromBytes("clip", std::nullopt, "mov");
  TransferAssetReference copy = store->duplicate(original, "NEW-OWNER");
  EXPECT_NE(copy.name, original.name);
  EXPECT_EQ(copy.ownerID, "NEW-OWNER");
  EXPECT_EQ(copy.pathExtension, "mov");
  EXPECT_EQ(store->read(copy), "clip");
  EXPECT_NE(store->locate(copy)->filePath(), store->locate(original)->filePath());
}

TYPED_TEST(TransferAssetStore, MakeForFileCopiesTheFile) {
  auto store = this->makeStore();
  std::filesystem::path source = this->directory.write("my clip.webm", "frames");
  TransferAssetReference reference = store->makeForFile(Url::fileUrl(source), "OWNER");
  EXPECT_EQ(reference.pathExtension, "webm");
  this->directory.write("my clip.webm", "changed later");
  EXPECT_EQ(store->read(reference), "frames");
  EXPECT_THROW(store->makeForFile(Url::fileUrl(this->directory.path() / "absent.mov"), "OWNER"), std::system_error);
}

TYPED_TEST(TransferAssetStore, UnknownAssetIsAbsentOrAnError) {
  auto store = this->makeStore();
  TransferAssetReference stranger{"STOCK_BACKGROUND_sunrise", std::nullopt, "jpg", {}};
  EXPECT_FALSE(store->locate(stranger).has_value());
  EXPECT_THROW(store->read(stranger), std::runtime_error);
  EXPECT_THROW(store->duplicate(stranger, "X"), std::runtime_error);
}

TEST(DirectoryTransferAssetManager, StoresAssetsAsFilesUnderTheRoot) {
  ScratchDirectory directory;
  DirectoryTransferAssetManager store(directory.path() / "assets");
  TransferAssetReference withExtension = store.makeFromBytes("a", std::nullopt, "gif");
  TransferAssetReference without = store.makeFromBytes("b", std::nullopt, std::nullopt);
  EXPECT_TRUE(Uuid::parse(withExtension.name).has_value());
  EXPECT_TRUE(std::filesystem::is_regular_file(directory.path() / "assets" / (withExtension.name + ".gif")));
  EXPECT_TRUE(std::filesystem::is_regular_file(directory.path() / "assets" / without.name));
  EXPECT_EQ(store.playableFile(without)->filePath(), directory.path() / "assets" / "playable" / without.name);

  // No file but the two assets: no temporary file survives a write.
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path() / "assets")) {
    files += entry.is_regular_file() ? 1 : 0;
  }
  EXPECT_EQ(files, 2u);

  // A second store on the same root sees the same assets.
  DirectoryTransferAssetManager reopened(directory.path() / "assets");
  EXPECT_EQ(reopened.read(withExtension), "a");
}

TEST(DirectoryTransferAssetManager, ThumbnailExistsOnlyWithItsFileAndFollowsDuplicates) {
  ScratchDirectory directory;
  DirectoryTransferAssetManager store(directory.path());
  TransferAssetReference reference = store.makeFromBytes("image", "O", "heic");
  EXPECT_FALSE(store.thumbnail(reference).has_value());
  directory.write(reference.name + "-thumbnail.png", "thumb");
  ASSERT_TRUE(store.thumbnail(reference).has_value());
  EXPECT_EQ(store.thumbnail(reference)->filePath(), directory.path() / (reference.name + "-thumbnail.png"));

  TransferAssetReference copy = store.duplicate(reference, "P");
  ASSERT_TRUE(store.thumbnail(copy).has_value());
  EXPECT_EQ(readWholeFile(store.thumbnail(copy)->filePath()), "thumb");
}

TEST(DirectoryTransferAssetManager, MissingFileErrorNamesTheFile) {
  ScratchDirectory directory;
  DirectoryTransferAssetManager store(directory.path());
  TransferAssetReference reference = store.makeFromBytes("x", std::nullopt, "png");
  std::filesystem::remove(directory.path() / (reference.name + ".png"));
  EXPECT_FALSE(store.locate(reference).has_value());
  EXPECT_THAT([&] { (void)store.read(reference); },
              ::testing::ThrowsMessage<std::system_error>(::testing::HasSubstr(reference.name + ".png")));
}

TEST(DirectoryTransferAssetManager, NamesThatWouldLeaveTheRootAreRefused) {
  ScratchDirectory directory;
  directory.write("secret.txt", "do not read");
  DirectoryTransferAssetManager store(directory.path() / "assets");
  TransferAssetReference escape{"../secret", std::nullopt, "txt", {}};
  EXPECT_FALSE(store.locate(escape).has_value());
  EXPECT_FALSE(store.playableFile(escape).has_value());
  EXPECT_THROW(store.read(escape), std::runtime_error);
}

TEST(InMemoryTransferAssetManager, ThumbnailIsWrittenWhenAsked) {
  InMemoryTransferAssetManager store;
  TransferAssetReference reference = store.makeFromBytes("pixels", std::nullopt, "png");
  EXPECT_FALSE(store.thumbnail(reference).has_value());
  ASSERT_TRUE(store.setThumbnail(reference, "small"));
  std::optional<Url> thumbnail = store.thumbnail(reference);
  ASSERT_TRUE(thumbnail.has_value());
  EXPECT_EQ(readWholeFile(thumbnail->filePath()), "small");
  EXPECT_FALSE(store.setThumbnail({"NOPE", std::nullopt, std::nullopt, {}}, "x"));
}

TEST(HostTransferAssetManager, SharedIsTheInstalledStoreElseInMemory) {
  HostTransferAssetManager& fallback = HostTransferAssetManager::shared();
  EXPECT_NE(dynamic_cast<InMemoryTransferAssetManager*>(&fallback), nullptr);
  ScratchDirectory directory;
  auto installed = std::make_shared<DirectoryTransferAssetManager>(directory.path());
  HostTransferAssetManager::setShared(installed);
  EXPECT_EQ(&HostTransferAssetManager::shared(), installed.get());
  HostTransferAssetManager::setShared(nullptr);
  EXPECT_EQ(&HostTransferAssetManager::shared(), &fallback);
}

}  // namespace
}  // namespace tav
