#include "tav/platform/videos_folder_media_library.hpp"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

std::string contents(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(VideosFolderMediaLibrary, MovesIntoACreatedFolderWithoutOverwriting) {
  testing::ScratchDirectory scratch("tav-videos");
  VideosFolderMediaLibrary library(scratch / "Videos");
  EXPECT_EQ(library.requestAuthorization(MediaLibraryAccessLevel::addOnly), MediaLibraryAuthorizationStatus::authorized);

  library.addVideoResource(scratch.write("take.mov", "one"), true);
  library.addVideoResource(scratch.write("take.mov", "two"), true);
  library.addVideoResource(scratch.write("take.mov", "three"), false);

  EXPECT_EQ(contents(scratch / "Videos/take.mov"), "one");
  EXPECT_EQ(contents(scratch / "Videos/take 2.mov"), "two");
  EXPECT_EQ(contents(scratch / "Videos/take 3.mov"), "three");
  EXPECT_EQ(library.lastAddedFile(), scratch / "Videos/take 3.mov");
  // Moved files are gone from where they were; a copied one stays.
  EXPECT_TRUE(std::filesystem::exists(scratch / "take.mov"));
  std::filesystem::remove(scratch / "take.mov");
  EXPECT_THROW(library.addVideoResource(scratch / "take.mov", true), std::filesystem::filesystem_error);
  EXPECT_FALSE(std::filesystem::exists(scratch / "Videos/take 4.mov"));
}

}  // namespace
}  // namespace tav
