#include "tav/platform/videos_folder_media_library.hpp"

#include <gtest/gtest.h>

#include "tav/platform/atomic_file.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

TEST(VideosFolderMediaLibrary, MovesIntoACreatedFolderWithoutOverwriting) {
  testing::ScratchDirectory scratch("tav-videos");
  VideosFolderMediaLibrary library(scratch / "Videos");
  EXPECT_EQ(library.requestAuthorization(MediaLibraryAccessLevel::addOnly), MediaLibraryAuthorizationStatus::authorized);

  library.addVideoResource(scratch.write("take.mov", "one"), true);
  library.addVideoResource(scratch.write("take.mov", "two"), true);
  library.addVideoResource(scratch.write("take.mov", "three"), false);

  EXPECT_EQ(readWholeFile(scratch / "Videos/take.mov"), "one");
  EXPECT_EQ(readWholeFile(scratch / "Videos/take 2.mov"), "two");
  EXPECT_EQ(readWholeFile(scratch / "Videos/take 3.mov"), "three");
  EXPECT_EQ(library.lastAddedFile(), scratch / "Videos/take 3.mov");
  // Moved files are gone from where they were; a copied one stays.
  EXPECT_TRUE(std::filesystem::exists(scratch / "take.mov"));
  std::filesystem::remove(scratch / "take.mov");
  EXPECT_THROW(library.addVideoResource(scratch / "take.mov", true), std::filesystem::filesystem_error);
  EXPECT_FALSE(std::filesystem::exists(scratch / "Videos/take 4.mov"));
}

}  // namespace
}  // namespace tav
