#include "tav/recording/recording_location_handler.hpp"

#include <gtest/gtest.h>

#include "tav/recording/video_recorder_error.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

/// A handler over a fresh store, with the save paths pointing into a scratch folder.
class RecordingLocationHandlerFiles : public ::testing::Test {
 protected:
  RecordingLocationHandlerFiles() {
    handler_.recordingSavePath().set(Url::fileUrl(scratch_.path()).absoluteString());
    handler_.frameSavePath().set(Url::fileUrl(scratch_.path()).absoluteString());
  }

  std::vector<std::string> names(const std::vector<Url>& urls) {
    std::vector<std::string> result;
    for (const auto& url : urls) result.push_back(url.filePath().lexically_relative(scratch_.path()).string());
    return result;
  }

  testing::ScratchDirectory scratch_{"tav-handler"};
  std::shared_ptr<InMemoryUserDefaults> store_ = std::make_shared<InMemoryUserDefaults>();
  RecordingLocationHandler handler_{store_};
};

std::string stemOf(const std::string& fileName) { return fileName.substr(0, fileName.size() - 4); }

TEST_F(RecordingLocationHandlerFiles, FileNameIsTheDatedDefaultText) {
  std::string name = RecordingLocationHandler::fileName();
  // "Tavo Studio Recording 2026-01-02 13-14-15.mov"
  ASSERT_EQ(name.size(), std::string("Tavo Studio Recording 2026-01-02 13-14-15.mov").size());
  EXPECT_EQ(name.substr(0, 22), "Tavo Studio Recording ");
  // The separators of the date and of the time.
  EXPECT_EQ((std::string{name[26], name[32], name[35], name[38]}), "- --");
  EXPECT_TRUE(name.ends_with(".mov"));
}

TEST_F(RecordingLocationHandlerFiles, OneOutputGoesStraightIntoTheSavedFolder) {
  EXPECT_TRUE(handler_.getRecordingURLs(std::nullopt, {}).empty());
  auto urls = handler_.getRecordingURLs(std::nullopt, {std::nullopt});
  ASSERT_EQ(urls.size(), 1u);
  EXPECT_EQ(urls[0].filePath().parent_path(), scratch_.path());
  EXPECT_TRUE(urls[0].lastPathComponent().starts_with("Tavo Studio Recording "));
}

TEST_F(RecordingLocationHandlerFiles, TwoOutputsShareOneMarkedSessionFolder) {
  auto urls = handler_.getRecordingURLs(std::nullopt, {std::nullopt, " Vertical"});
  ASSERT_EQ(urls.size(), 2u);
  std::string stem = stemOf(urls[0].lastPathComponent());
  EXPECT_EQ(names(urls), (std::vector<std::string>{stem + "/" + stem + ".mov", stem + "/" + stem + " Vertical.mov"}));
  EXPECT_TRUE(RecordingLocationHandler::isSessionFolder(Url::fileUrl(scratch_ / stem)));
  EXPECT_FALSE(RecordingLocationHandler::isSessionFolder(Url::fileUrl(scratch_.path())));
}

TEST_F(RecordingLocationHandlerFiles, SessionSubfolderAlsoForOneOutputWhenAsked) {
  handler_.setUsesSessionSubfolder(true);
  auto urls = handler_.getRecordingURLs(std::nullopt, {" Main"});
  ASSERT_EQ(urls.size(), 1u);
  fs::path folder = urls[0].filePath().parent_path();
  EXPECT_EQ(folder.parent_path(), scratch_.path());
  EXPECT_EQ(urls[0].lastPathComponent(), folder.filename().string() + " Main.mov");
  EXPECT_TRUE(fs::exists(folder / ".tavo-session"));
}

TEST_F(RecordingLocationHandlerFiles, OutputURLWithTwoSuffixesMakesAUniqueFolderBesideIt) {
  TavoRecorderConfiguration configuration{std::nullopt, Url::fileUrl(scratch_ / "x.mov")};
  EXPECT_EQ(names(handler_.getRecordingURLs(configuration, {" A"})), (std::vector<std::string>{"x.mov"}));
  EXPECT_EQ(names(handler_.getRecordingURLs(configuration, {std::nullopt, " B"})),
            (std::vector<std::string>{"x/x.mov", "x/x B.mov"}));
  // "x" now exists.
  EXPECT_EQ(names(handler_.getRecordingURLs(configuration, {std::nullopt, " B"})),
            (std::vector<std::string>{"x 2/x.mov", "x 2/x B.mov"}));
  TavoRecorderConfiguration bare{std::nullopt, Url::fileUrl(scratch_ / "take")};
  EXPECT_EQ(names(handler_.getRecordingURLs(bare, {"", " V"})),
            (std::vector<std::string>{"take/take.mov", "take/take V.mov"}));
}

TEST_F(RecordingLocationHandlerFiles, MissingOrUnusableDestinationsAreRefused) {
  TavoRecorderConfiguration orphan{std::nullopt, Url::fileUrl(scratch_ / "nowhere" / "x.mov")};
  try {
    handler_.getRecordingURLs(orphan, {std::nullopt});
    FAIL() << "no error";
  } catch (const VideoRecorderError& error) {
    EXPECT_EQ(error.errorCase(), VideoRecorderError::Case::missingLocation);
  }
  handler_.recordingSavePath().set("not a url");
  EXPECT_THROW(handler_.getRecordingURLs(std::nullopt, {std::nullopt}), VideoRecorderError);
  handler_.recordingSavePath().set(Url::fileUrl(scratch_.write("file.txt")).absoluteString());
  EXPECT_THROW(handler_.getRecordingURLs(std::nullopt, {std::nullopt}), VideoRecorderError);
  EXPECT_THROW(handler_.getFrameURLs({}, {std::nullopt}), VideoRecorderError);
}

TEST_F(RecordingLocationHandlerFiles, FramesTakeTheirNamesFromTheConfiguration) {
  TavoRecorderConfiguration named{"shot.jpg", std::nullopt};
  EXPECT_EQ(names(handler_.getFrameURLs(named, {std::nullopt, " Vertical"})),
            (std::vector<std::string>{"shot.jpg", "shot Vertical.jpg"}));
  TavoRecorderConfiguration plain{"shot", std::nullopt};
  EXPECT_EQ(names(handler_.getFrameURLs(plain, {" 1"})), (std::vector<std::string>{"shot 1.png"}));
  TavoRecorderConfiguration output{std::nullopt, Url::fileUrl(scratch_ / "still")};
  EXPECT_EQ(names(handler_.getFrameURLs(output, {"", " V"})),
            (std::vector<std::string>{"still/still.png", "still/still V.png"}));
  EXPECT_FALSE(fs::exists(scratch_ / "still" / ".tavo-session"));
}

TEST_F(RecordingLocationHandlerFiles, EmptySessionFolderIsRemovedButNotOneWithAFinishedFile) {
  auto urls = handler_.getRecordingURLs(std::nullopt, {std::nullopt, " Vertical"});
  fs::path folder = urls[0].filePath().parent_path();
  scratch_.write((folder.filename() / "notes.txt").string());
  handler_.removeEmptySessionFolder(urls[0]);
  EXPECT_FALSE(fs::exists(folder));

  urls = handler_.getRecordingURLs(std::nullopt, {std::nullopt, " Vertical"});
  folder = urls[0].filePath().parent_path();
  scratch_.write((folder.filename() / "voice.M4A").string());
  handler_.removeEmptySessionFolder(urls[0]);
  EXPECT_TRUE(fs::exists(folder));

  // A folder without the marker is never touched.
  fs::path plain = scratch_ / "plain";
  fs::create_directory(plain);
  handler_.removeEmptySessionFolder(Url::fileUrl(plain / "a.mov"));
  EXPECT_TRUE(fs::exists(plain));
}

TEST_F(RecordingLocationHandlerFiles, HandlersKeepTheirOwnStoreAndSettingsAndTheSharedOneFollowsTheStandardStore) {
  testing::ScratchDirectory other("tav-handler-other");
  RecordingLocationHandler second(std::make_shared<InMemoryUserDefaults>(), {.usesSessionSubfolder = true});
  second.recordingSavePath().set(Url::fileUrl(other.path()).absoluteString());
  EXPECT_EQ(handler_.getRecordingURLs(std::nullopt, {std::nullopt})[0].filePath().parent_path(), scratch_.path());
  const Url inFolder = second.getRecordingURLs(std::nullopt, {std::nullopt})[0];
  EXPECT_EQ(inFolder.filePath().parent_path().parent_path(), other.path());
  EXPECT_FALSE(handler_.usesSessionSubfolder());

  // The location title is read from the handler's own store.
  CustomRecordingLocation::addCustomLocation(Url::fileUrl(other.path()), "/dev/sda2 / ext4 rw 0 0\n", second.store());
  const RecordingLocation added = CustomRecordingLocation::locations(second.store()).get().back();
  second.currentLocation().set(added);
  EXPECT_EQ(second.currentLocationTitle(), added.title());
  EXPECT_TRUE(added.title().starts_with("On This Device"));
  EXPECT_EQ(handler_.currentLocationTitle(), "Photo Library");

  const auto before = UserDefaults::standard();
  UserDefaults::setStandard(store_);
  EXPECT_EQ(RecordingLocationHandler::shared().recordingSavePath().get(), handler_.recordingSavePath().get());
  UserDefaults::setStandard(before);
  EXPECT_THROW(RecordingLocationHandler(nullptr), std::invalid_argument);
}

TEST(RecordingLocationHandler, UniqueDirectoryNameCountsFromTwo) {
  testing::ScratchDirectory scratch("tav-unique");
  EXPECT_EQ(detail::uniqueDirectoryName("x", scratch.path()), "x");
  fs::create_directory(scratch / "x");
  scratch.write("x 2");
  EXPECT_EQ(detail::uniqueDirectoryName("x", scratch.path()), "x 3");
}

}  // namespace
}  // namespace tav
