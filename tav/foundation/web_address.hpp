// The program's web addresses: pages on the maker's website with tracking items, and the rules for an
// address a user types for a web layer.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/url.hpp"

namespace tav {

/// What the running application says about itself, which the tracking items carry. The host sets it
/// once at start; until then every field is absent.
struct MainBundleInfo {
  std::optional<std::string> version;
  std::optional<std::string> buildNumber;
  /// The Info dictionary's "MVUTMCampaignSuffix", when the build has one.
  std::optional<std::string> utmCampaignSuffix;
};

/// Thread-safe.
MainBundleInfo mainBundleInfo();
void setMainBundleInfo(MainBundleInfo info);

/// The root of the maker's website; ends in "/".
inline constexpr std::string_view morvaneWebsiteRoot = "https://www.morvane.com/";

/// "utm_source" -> "tavo", "utm_campaign" -> version "." buildNumber, plus "_" suffix when the bundle
/// has one (an absent version or build number reads as empty).
std::map<std::string, std::string> utmTrackingItems();

/// Each key and value of utmTrackingItems percent-encoded for a URL query, "key=value" pairs joined
/// with "&", in key order.
std::string utmTrackingQueryString();

/// The address of `path` on the maker's website: the root, then (with `supportsLocalization`) the
/// language's path prefix, the main bundle's "MORVANE_WEB_PATH_PREFIX" of table "URL" (empty when it
/// has no entry), then `path`. With `includesUTMTracking` the query items of the address are merged with
/// utmTrackingItems, the tracking value winning on a shared name, items without a value dropped, in
/// name order. The arguments are the library's own: text that curl cannot parse comes back unchanged.
Url morvaneWebsite(std::string_view path, bool supportsLocalization = true, bool includesUTMTracking = true);
/// The same address as absolute text.
std::string morvaneWebsiteText(std::string_view path, bool supportsLocalization = true,
                               bool includesUTMTracking = true);

/// What a user typed for a web layer, if it makes a usable address: trimmed; "https://" put before it
/// when it has no "://"; then an http or https address whose host is "localhost" (any case) or has at
/// least two dot-separated parts, none empty, or a file address with a non-empty path. Returns the
/// address as parsed (the trimmed, prefixed text), not rebuilt; absent otherwise.
std::optional<Url> validatedWebLayerURL(std::string_view text);

}  // namespace tav
