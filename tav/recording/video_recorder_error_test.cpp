#include "tav/recording/video_recorder_error.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(VideoRecorderError, TextsAreTheDefaultsFormattedWithTheArgument) {
  EXPECT_STREQ(VideoRecorderError::invalidState("Cannot start recording: no outputs configured").what(),
               "Invalid state: Cannot start recording: no outputs configured");
  EXPECT_STREQ(VideoRecorderError::unsupportedMediaType(MediaStreamType::audio()).what(), "Unsupported media type: soun");
  EXPECT_STREQ(VideoRecorderError::unsupportedMediaType(MediaStreamType("text")).what(), "Unsupported media type: text");
  EXPECT_STREQ(VideoRecorderError::noAssetWriter().what(), "Missing asset writer");
  EXPECT_STREQ(VideoRecorderError::noRecordingInProgress().what(), "There wasn't a recording in progress");
  EXPECT_STREQ(VideoRecorderError::missingLocation().what(),
               "The selected save location couldn't be found. It may have been moved, renamed, or deleted. "
               "Please choose a different location.");
  EXPECT_STREQ(VideoRecorderError::couldNotFindFile().what(), "Could not find the requested file to save");
  EXPECT_STREQ(VideoRecorderError::failedToSaveFile().what(), "Failed to save file to requested location");
  EXPECT_STREQ(VideoRecorderError::fileCreationFailed().what(),
               "Could not create the recording file. Please check that Tavo Studio has permission to access the "
               "save location in System Settings > Privacy & Security.");
  EXPECT_STREQ(VideoRecorderError::failedToSaveToPhotoLibrary().what(), "Failed to save file to photo library");
  EXPECT_STREQ(VideoRecorderError::missingPhotoLibraryPermission().what(),
               "Photo library permissions have not been given to Tavo Studio");
  EXPECT_STREQ(VideoRecorderError::unknown().what(), "Unknown error");
  EXPECT_EQ(VideoRecorderError::unknown().errorDescription(), "Unknown error");
}

TEST(VideoRecorderError, KeysAndCasesKeepTheirDeclaredOrder) {
  using C = VideoRecorderError::Case;
  const std::pair<C, const char*> expected[] = {
      {C::invalidState, "INVALID_STATE_ERROR"},
      {C::unsupportedMediaType, "UNSUPPORTED_MEDIA_TYPE_ERROR"},
      {C::noAssetWriter, "NO_WRITER_ERROR"},
      {C::noRecordingInProgress, "NONE_IN_PROGRESS_ERROR"},
      {C::missingLocation, "MISSING_LOCATION_ERROR"},
      {C::couldNotFindFile, "COULD_NOT_FIND_FILE_ERROR"},
      {C::failedToSaveFile, "FAILED_TO_SAVE_FILE_ERROR"},
      {C::fileCreationFailed, "FILE_CREATION_FAILED_ERROR"},
      {C::failedToSaveToPhotoLibrary, "FAILED_TO_SAVE_FILE_PHOTO_LIBRARY_ERROR"},
      {C::missingPhotoLibraryPermission, "MISSING_PHOTO_LIBRARY_PERMISSION_ERROR"},
      {C::unknown, "UNKNOWN_ERROR"},
  };
  int index = 0;
  for (const auto& [errorCase, key] : expected) {
    EXPECT_EQ(static_cast<int>(errorCase), index++);
    EXPECT_EQ(VideoRecorderError::key(errorCase), key);
  }
  EXPECT_EQ(caseName(C::missingPhotoLibraryPermission), "missingPhotoLibraryPermission");
}

TEST(VideoRecorderError, PlaceholderFormattingTakesEitherFormAndLeavesOtherTextAlone) {
  EXPECT_EQ(detail::formatWithObjectPlaceholder("Ungültiger Zustand: %1$@.", "x"), "Ungültiger Zustand: x.");
  EXPECT_EQ(detail::formatWithObjectPlaceholder("No placeholder", "x"), "No placeholder");
  EXPECT_EQ(detail::formatWithObjectPlaceholder("%@ and %@", "a"), "a and %@");
}

TEST(VideoRecorderError, EqualityComparesCaseAndArgument) {
  EXPECT_EQ(VideoRecorderError::invalidState("a"), VideoRecorderError::invalidState("a"));
  EXPECT_FALSE(VideoRecorderError::invalidState("a") == VideoRecorderError::invalidState("b"));
  EXPECT_FALSE(VideoRecorderError::unknown() == VideoRecorderError::noAssetWriter());
}

}  // namespace
}  // namespace tav
