// What kind of source an isolated file holds, and where a source's audio goes. The type's raw value is
// written into each source file's metadata so an editor can tell a camera from a screen afterwards.
#pragma once

#include <array>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// The kind of capture behind an isolated file. Raw values are texts ("system_audio", ...).
enum class IsolatedSourceType {
  camera,
  screen,
  window,
  application,
  video,
  web,
  microphone,
  systemAudio,
  applicationAudio,
  webAudio,
  audio,
};

template <>
struct EnumTraits<IsolatedSourceType> {
  using E = IsolatedSourceType;
  static constexpr std::array cases{
      EnumCase<E>{E::camera, "camera"},
      EnumCase<E>{E::screen, "screen"},
      EnumCase<E>{E::window, "window"},
      EnumCase<E>{E::application, "application"},
      EnumCase<E>{E::video, "video"},
      EnumCase<E>{E::web, "web"},
      EnumCase<E>{E::microphone, "microphone"},
      EnumCase<E>{E::systemAudio, "system_audio"},
      EnumCase<E>{E::applicationAudio, "application_audio"},
      EnumCase<E>{E::webAudio, "web_audio"},
      EnumCase<E>{E::audio, "audio"},
  };
};

/// Where a source's audio is recorded: in the file of the source's video (`sharedWithVideo`), or in
/// an audio file of its own beside it (`ownFile`, keyed by the source ID followed by "#audio").
enum class IsolatedAudioStem { sharedWithVideo, ownFile };

}  // namespace tav
