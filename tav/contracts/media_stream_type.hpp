// MediaStreamType: the kind of a media stream (video, audio, ...), carried as the platform's four-letter
// raw string so that texts which show the raw value ("Unsupported media type: soun") read as the host's.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace tav {

/// A small value over the raw string; any raw string is representable, the four common ones have names.
class MediaStreamType {
 public:
  explicit MediaStreamType(std::string rawValue) : _rawValue(std::move(rawValue)) {}

  static MediaStreamType video() { return MediaStreamType("vide"); }
  static MediaStreamType audio() { return MediaStreamType("soun"); }
  static MediaStreamType text() { return MediaStreamType("text"); }
  static MediaStreamType metadata() { return MediaStreamType("meta"); }

  const std::string& rawValue() const { return _rawValue; }
  bool isVideo() const { return _rawValue == "vide"; }
  bool isAudio() const { return _rawValue == "soun"; }

  /// "video" or "audio" for log lines that name the medium in words; the raw string for any other.
  std::string words() const {
    if (isVideo()) return "video";
    if (isAudio()) return "audio";
    return _rawValue;
  }

  friend bool operator==(const MediaStreamType&, const MediaStreamType&) = default;

 private:
  std::string _rawValue;
};

}  // namespace tav
