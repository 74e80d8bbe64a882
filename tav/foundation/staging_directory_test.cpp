#include "tav/foundation/staging_directory.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

std::string readFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(StagingDirectory, ArchivesIntoAFreshFolderUnderArchivedRootThatOutlivesIt) {
  std::optional<Url> archive;
  std::filesystem::path folder;
  {
    StagingDirectory staging;
    StagingDirectory other;
    EXPECT_NE(staging.path(), other.path());
    EXPECT_EQ(staging.path().parent_path(), std::filesystem::temp_directory_path() / "ArchiveStaging");
    std::ofstream(staging.path() / "b.txt") << "bee";
    std::ofstream(staging.path() / "a.txt") << "ay";
    ASSERT_EQ(staging.urls().size(), 2u);
    EXPECT_EQ(staging.urls()[0].lastPathComponent(), "a.txt");

    bool called = false;
    staging.archiveToFile("feedback.zip", [&](ArchiveResult result) {
      called = true;
      ASSERT_NE(result.url(), nullptr) << result.errorDescription();
      archive = *result.url();
    });
    EXPECT_TRUE(called);  // before archiveToFile returned
    folder = staging.path();
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
  ASSERT_TRUE(archive);
  const std::filesystem::path file = archive->filePath();
  EXPECT_EQ(file.filename(), "feedback.zip");
  EXPECT_EQ(file.parent_path().parent_path(), StagingDirectory::archivedRoot());
  EXPECT_EQ(StagingDirectory::archivedRoot(), StagingDirectory::stagingRoot() / "Archived");
  ASSERT_TRUE(std::filesystem::exists(file));

  StagingDirectory unpacked;
  std::ofstream(unpacked.path() / "a.txt") << "old";
  EXPECT_TRUE(unpacked.unarchiveFiles(file.string()));
  EXPECT_EQ(readFile(unpacked.path() / "a.txt"), "ay");  // overwritten
  EXPECT_EQ(readFile(unpacked.path() / "b.txt"), "bee");
  std::filesystem::remove_all(file.parent_path());
}

TEST(StagingDirectory, FailuresReachTheCompletionOrTheLog) {
  StagingDirectory staging;
  std::string error;
  staging.archiveToFile("../escape.zip", [&](ArchiveResult result) { error = result.errorDescription(); });
  EXPECT_THAT(error, ::testing::HasSubstr("\"../escape.zip\" is not a file name"));

  testing::ScratchDirectory scratch;
  scratch.write("garbage.zip", "this is not a zip archive");
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(staging.unarchiveFiles((scratch / "garbage.zip").string()));
  EXPECT_FALSE(staging.unarchiveFiles((scratch / "missing.zip").string()));
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, ::testing::HasSubstr("[StagingDirectory] Couldn't unpack \"" + (scratch / "garbage.zip").string() +
                                         "\": is not a readable zip archive"));
}

TEST(StagingDirectory, AllContentsListsNestedFilesInPlaceAndNoFolders) {
  testing::ScratchDirectory scratch;
  scratch.write("a.txt");
  scratch.write("b/c.txt");
  scratch.write("b/d/e.txt");
  std::filesystem::create_directories(scratch / "b/empty");
  scratch.write("f.txt");
  std::vector<std::string> names;
  for (const Url& url : allContentsOfDirectory(Url::fileUrl(scratch.path()))) {
    names.push_back(url.filePath().lexically_relative(scratch.path()).string());
  }
  EXPECT_EQ(names, (std::vector<std::string>{"a.txt", "b/c.txt", "b/d/e.txt", "f.txt"}));
  EXPECT_THROW(allContentsOfDirectory(Url::fileUrl(scratch / "missing")), std::filesystem::filesystem_error);
}

}  // namespace
}  // namespace tav
