// What the host application tells about itself beyond its version (MainBundleInfo in
// tav/foundation/web_address.hpp): its release channel and the languages it shows, as requests to the
// service identify the application.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// The channel a build is distributed through.
enum class ReleaseChannel { debug, internal, beta, release };

template <>
struct EnumTraits<ReleaseChannel> {
  static constexpr std::array cases{
      EnumCase<ReleaseChannel>{ReleaseChannel::debug, "debug"},
      EnumCase<ReleaseChannel>{ReleaseChannel::internal, "internal"},
      EnumCase<ReleaseChannel>{ReleaseChannel::beta, "beta"},
      EnumCase<ReleaseChannel>{ReleaseChannel::release, "release"},
  };
};

/// The host application's particulars. A plain value; the process-wide one is set by the host at start.
struct MainBundle {
  std::optional<ReleaseChannel> releaseChannel;
  /// Languages the application shows, most preferred first ("en", "de").
  std::vector<std::string> preferredLocalizations;

  /// The installed value; until the host installs one: no channel, and the language of $LC_ALL,
  /// $LC_MESSAGES or $LANG (else "en"). Thread-safe.
  static MainBundle current();
  /// Installs the value current() returns from now on. Thread-safe.
  static void setCurrent(MainBundle bundle);

  friend bool operator==(const MainBundle&, const MainBundle&) = default;
};

}  // namespace tav
