#include "tav/recording/video_recorder_error.hpp"

#include <array>

#include "tav/contracts/localizer.hpp"

namespace tav {

namespace {

struct CaseText {
  VideoRecorderError::Case errorCase;
  std::string_view name;
  std::string_view key;
  std::string_view defaultText;
};

using C = VideoRecorderError::Case;

constexpr std::array<CaseText, 11> kCaseTexts{{
    {C::invalidState, "invalidState", "INVALID_STATE_ERROR", "Invalid state: %@"},
    {C::unsupportedMediaType, "unsupportedMediaType", "UNSUPPORTED_MEDIA_TYPE_ERROR", "Unsupported media type: %@"},
    {C::noAssetWriter, "noAssetWriter", "NO_WRITER_ERROR", "Missing asset writer"},
    {C::noRecordingInProgress, "noRecordingInProgress", "NONE_IN_PROGRESS_ERROR", "There wasn't a recording in progress"},
    {C::missingLocation, "missingLocation", "MISSING_LOCATION_ERROR",
     "The selected save location couldn't be found. It may have been moved, renamed, or deleted. Please choose a "
     "different location."},
    {C::couldNotFindFile, "couldNotFindFile", "COULD_NOT_FIND_FILE_ERROR", "Could not find the requested file to save"},
    {C::failedToSaveFile, "failedToSaveFile", "FAILED_TO_SAVE_FILE_ERROR", "Failed to save file to requested location"},
    {C::fileCreationFailed, "fileCreationFailed", "FILE_CREATION_FAILED_ERROR",
     "Could not create the recording file. Please check that Tavo Studio has permission to access the save "
     "location in System Settings > Privacy & Security."},
    {C::failedToSaveToPhotoLibrary, "failedToSaveToPhotoLibrary", "FAILED_TO_SAVE_FILE_PHOTO_LIBRARY_ERROR",
     "Failed to save file to photo library"},
    {C::missingPhotoLibraryPermission, "missingPhotoLibraryPermission", "MISSING_PHOTO_LIBRARY_PERMISSION_ERROR",
     "Photo library permissions have not been given to Tavo Studio"},
    {C::unknown, "unknown", "UNKNOWN_ERROR", "Unknown error"},
}};

const CaseText& textOf(C errorCase) {
  for (const auto& entry : kCaseTexts) {
    if (entry.errorCase == errorCase) return entry;
  }
  return kCaseTexts.back();
}

bool takesArgument(C errorCase) { return errorCase == C::invalidState || errorCase == C::unsupportedMediaType; }

std::string describe(C errorCase, const std::string& argument) {
  const CaseText& entry = textOf(errorCase);
  std::string text = localizedText(entry.key, entry.defaultText);
  if (!takesArgument(errorCase)) return text;
  return detail::formatWithObjectPlaceholder(text, argument);
}

}  // namespace

VideoRecorderError::VideoRecorderError(Case errorCase, std::string argument)
    : SharedTextError(describe(errorCase, argument)), case_(errorCase), argument_(std::move(argument)) {}

std::string_view VideoRecorderError::key(Case errorCase) { return textOf(errorCase).key; }
std::string_view VideoRecorderError::defaultText(Case errorCase) { return textOf(errorCase).defaultText; }
std::string_view caseName(VideoRecorderError::Case errorCase) { return textOf(errorCase).name; }

namespace detail {

std::string formatWithObjectPlaceholder(std::string_view format, std::string_view argument) {
  for (std::string_view placeholder : {std::string_view("%@"), std::string_view("%1$@")}) {
    auto at = format.find(placeholder);
    if (at == std::string_view::npos) continue;
    std::string result(format.substr(0, at));
    result += argument;
    result += format.substr(at + placeholder.size());
    return result;
  }
  return std::string(format);
}

}  // namespace detail

}  // namespace tav
