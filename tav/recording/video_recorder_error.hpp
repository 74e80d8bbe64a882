// The one error type of recording, with the texts the user sees.
//
// Start and stop of a recording, the writer and the location checks throw a VideoRecorderError. Its
// `what()` is the localised text of its case, formatted with the case's argument where it has one.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "tav/contracts/media_stream_type.hpp"
#include "tav/contracts/shared_text_error.hpp"

namespace tav {

class VideoRecorderError : public SharedTextError {
 public:
  /// The cases in their declared order.
  enum class Case {
    invalidState,
    unsupportedMediaType,
    noAssetWriter,
    noRecordingInProgress,
    missingLocation,
    couldNotFindFile,
    failedToSaveFile,
    fileCreationFailed,
    failedToSaveToPhotoLibrary,
    missingPhotoLibraryPermission,
    unknown,
  };

  /// `reason` is a whole sentence of its own ("Cannot start recording: no outputs configured"); it is
  /// not localised.
  static VideoRecorderError invalidState(std::string reason) { return VideoRecorderError(Case::invalidState, std::move(reason)); }
  /// Carries the platform's raw string of the medium ("vide", "soun").
  static VideoRecorderError unsupportedMediaType(const MediaStreamType& mediaType) {
    return VideoRecorderError(Case::unsupportedMediaType, mediaType.rawValue());
  }
  static VideoRecorderError unsupportedMediaType(std::string rawMediaType) {
    return VideoRecorderError(Case::unsupportedMediaType, std::move(rawMediaType));
  }
  static VideoRecorderError noAssetWriter() { return VideoRecorderError(Case::noAssetWriter); }
  static VideoRecorderError noRecordingInProgress() { return VideoRecorderError(Case::noRecordingInProgress); }
  static VideoRecorderError missingLocation() { return VideoRecorderError(Case::missingLocation); }
  static VideoRecorderError couldNotFindFile() { return VideoRecorderError(Case::couldNotFindFile); }
  static VideoRecorderError failedToSaveFile() { return VideoRecorderError(Case::failedToSaveFile); }
  static VideoRecorderError fileCreationFailed() { return VideoRecorderError(Case::fileCreationFailed); }
  static VideoRecorderError failedToSaveToPhotoLibrary() { return VideoRecorderError(Case::failedToSaveToPhotoLibrary); }
  static VideoRecorderError missingPhotoLibraryPermission() { return VideoRecorderError(Case::missingPhotoLibraryPermission); }
  static VideoRecorderError unknown() { return VideoRecorderError(Case::unknown); }

  /// A case without an argument; for the two cases that take one, the argument is empty.
  explicit VideoRecorderError(Case errorCase) : VideoRecorderError(errorCase, std::string()) {}
  /// The text is looked up now, so a later change of language does not change a thrown error.
  VideoRecorderError(Case errorCase, std::string argument);

  Case errorCase() const { return case_; }
  /// The argument of invalidState and unsupportedMediaType; empty for the other cases.
  const std::string& argument() const { return argument_; }
  /// The same text as what().
  std::string errorDescription() const { return what(); }

  /// The string-table key and the English default text of a case.
  static std::string_view key(Case errorCase);
  static std::string_view defaultText(Case errorCase);

  friend bool operator==(const VideoRecorderError& a, const VideoRecorderError& b) {
    return a.case_ == b.case_ && a.argument_ == b.argument_;
  }

 private:
  Case case_;
  std::string argument_;
};

/// The name of a case as declared ("invalidState").
std::string_view caseName(VideoRecorderError::Case errorCase);

namespace detail {
/// `format` with its first "%@" (or "%1$@") replaced by `argument`; unchanged when it has neither.
std::string formatWithObjectPlaceholder(std::string_view format, std::string_view argument);
}  // namespace detail

}  // namespace tav
