// The kinds of event the application reports to NQS, each with its wire name.
#pragma once

#include "tav/contracts/enum_table.hpp"

namespace tav {

enum class AppEventType {
  screenViewed,
  buttonClicked,
  linkClicked,
  videoPlayed,
  sessionEnded,
  settingsChanged,
  sceneAdded,
  sceneRemoved,
  sceneUpdated,
  sceneSelected,
  sceneDuplicated,
  streamPanelAdded,
  streamPanelRemoved,
  streamDestinationSetupStarted,
  streamDestinationAdded,
  streamDestinationRemoved,
  fullScreenEnabled,
  fullScreenDisabled,
  streamDeckConnected,
  streamStarted,
  streamStopped,
  streamFailed,
  externalControlAction,
  addOnPrompted,
  addOnInstalled,
  addOnUpgraded,
  addOnUninstalled,
};

template <>
struct EnumTraits<AppEventType> {
  using T = AppEventType;
  static constexpr std::array cases{
      EnumCase<T>{T::screenViewed, "screen.viewed"},
      EnumCase<T>{T::buttonClicked, "button.clicked"},
      EnumCase<T>{T::linkClicked, "link.clicked"},
      EnumCase<T>{T::videoPlayed, "video.played"},
      EnumCase<T>{T::sessionEnded, "tavo_session.ended"},
      EnumCase<T>{T::settingsChanged, "settings.changed"},
      EnumCase<T>{T::sceneAdded, "scene.added"},
      EnumCase<T>{T::sceneRemoved, "scene.removed"},
      EnumCase<T>{T::sceneUpdated, "scene.updated"},
      EnumCase<T>{T::sceneSelected, "scene.selected"},
      EnumCase<T>{T::sceneDuplicated, "scene.duplicated"},
      EnumCase<T>{T::streamPanelAdded, "stream_panel.added"},
      EnumCase<T>{T::streamPanelRemoved, "stream_panel.removed"},
      EnumCase<T>{T::streamDestinationSetupStarted, "stream_destination.setup_started"},
      EnumCase<T>{T::streamDestinationAdded, "stream_destination.added"},
      EnumCase<T>{T::streamDestinationRemoved, "stream_destination.removed"},
      EnumCase<T>{T::fullScreenEnabled, "fullscreen.enabled"},
      EnumCase<T>{T::fullScreenDisabled, "fullscreen.disabled"},
      EnumCase<T>{T::streamDeckConnected, "stream_deck.connected"},
      EnumCase<T>{T::streamStarted, "stream.started"},
      EnumCase<T>{T::streamStopped, "stream.stopped"},
      EnumCase<T>{T::streamFailed, "stream.failed"},
      EnumCase<T>{T::externalControlAction, "external_control.action"},
      EnumCase<T>{T::addOnPrompted, "addon.prompt_displayed"},
      EnumCase<T>{T::addOnInstalled, "addon.installed"},
      EnumCase<T>{T::addOnUpgraded, "addon.upgraded"},
      EnumCase<T>{T::addOnUninstalled, "addon.uninstalled"},
  };
};

}  // namespace tav
