#include "tav/foundation/web_address.hpp"

#include <algorithm>
#include <cctype>
#include <memory>
#include <mutex>
#include <vector>

#include <curl/curl.h>

#include "tav/contracts/localizer.hpp"

namespace tav {

namespace {

struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
struct CurlTextDeleter {
  void operator()(char* text) const { curl_free(text); }
};
using CurlUrl = std::unique_ptr<CURLU, CurlUrlDeleter>;

std::mutex& bundleMutex() {
  static std::mutex mutex;
  return mutex;
}
MainBundleInfo& bundleInfoStorage() {
  static MainBundleInfo info;  // guarded by bundleMutex()
  return info;
}

/// Parses `text` with any scheme; nullptr when curl refuses it.
CurlUrl parseUrl(const std::string& text) {
  CurlUrl handle(curl_url());
  if (!handle) return nullptr;
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) return nullptr;
  return handle;
}

std::optional<std::string> urlPart(CURLU* handle, CURLUPart part, unsigned int flags = 0) {
  char* raw = nullptr;
  if (curl_url_get(handle, part, &raw, flags) != CURLUE_OK || raw == nullptr) return std::nullopt;
  std::unique_ptr<char, CurlTextDeleter> owned(raw);
  return std::string(raw);
}

// The characters a URL query may hold unencoded: unreserved ones and the sub-delimiters, ":", "@",
// "/" and "?".
bool isQueryAllowed(unsigned char c) {
  if (std::isalnum(c)) return true;
  static constexpr std::string_view allowed = "-._~!$&'()*+,;=:@/?";
  return allowed.find(static_cast<char>(c)) != std::string_view::npos;
}

std::string percentEncodeQuery(std::string_view text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string out;
  for (char ch : text) {
    auto c = static_cast<unsigned char>(ch);
    if (isQueryAllowed(c)) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(digits[c >> 4]);
      out.push_back(digits[c & 0x0F]);
    }
  }
  return out;
}

// Query values written into the merged query are encoded more strictly, so a value holding "&" or "="
// stays one item.
std::string percentEncodeQueryItem(std::string_view text) {
  std::string encoded = percentEncodeQuery(text);
  std::string out;
  for (char ch : encoded) {
    if (ch == '&') {
      out += "%26";
    } else if (ch == '=') {
      out += "%3D";
    } else if (ch == '+') {
      out += "%2B";
    } else {
      out.push_back(ch);
    }
  }
  return out;
}

std::string percentDecode(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() + 0 && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
      out.push_back(static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16)));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

bool hostPasses(std::string_view host) {
  std::string lower(host);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (lower == "localhost") return true;
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  for (;;) {
    std::size_t dot = host.find('.', start);
    parts.push_back(host.substr(start, dot == std::string_view::npos ? std::string_view::npos : dot - start));
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  return parts.size() >= 2 && std::none_of(parts.begin(), parts.end(), [](std::string_view p) { return p.empty(); });
}

}  // namespace

MainBundleInfo mainBundleInfo() {
  std::lock_guard guard(bundleMutex());
  return bundleInfoStorage();
}

void setMainBundleInfo(MainBundleInfo info) {
  std::lock_guard guard(bundleMutex());
  bundleInfoStorage() = std::move(info);
}

std::map<std::string, std::string> utmTrackingItems() {
  MainBundleInfo info = mainBundleInfo();
  std::string campaign = info.version.value_or("") + "." + info.buildNumber.value_or("");
  if (info.utmCampaignSuffix) campaign += "_" + *info.utmCampaignSuffix;
  return {{"utm_source", "tavo"}, {"utm_campaign", campaign}};
}

std::string utmTrackingQueryString() {
  std::string query;
  for (const auto& [key, value] : utmTrackingItems()) {
    if (!query.empty()) query += "&";
    query += percentEncodeQuery(key) + "=" + percentEncodeQuery(value);
  }
  return query;
}

std::string morvaneWebsiteText(std::string_view path, bool supportsLocalization, bool includesUTMTracking) {
  std::string text(morvaneWebsiteRoot);
  if (supportsLocalization) text += Localizer::mainBundle().localized("MORVANE_WEB_PATH_PREFIX", "URL", "");
  text += path;
  if (!includesUTMTracking) return text;

  CurlUrl handle = parseUrl(text);
  if (!handle) return text;
  std::map<std::string, std::string> items;
  if (std::optional<std::string> query = urlPart(handle.get(), CURLUPART_QUERY)) {
    std::string_view rest(*query);
    while (!rest.empty()) {
      std::size_t amp = rest.find('&');
      std::string_view item = rest.substr(0, amp);
      rest = amp == std::string_view::npos ? std::string_view() : rest.substr(amp + 1);
      std::size_t eq = item.find('=');
      if (eq == std::string_view::npos) continue;  // an item with no value is dropped
      items[percentDecode(item.substr(0, eq))] = percentDecode(item.substr(eq + 1));
    }
  }
  for (const auto& [key, value] : utmTrackingItems()) items[key] = value;
  std::string query;
  for (const auto& [key, value] : items) {
    if (!query.empty()) query += "&";
    query += percentEncodeQueryItem(key) + "=" + percentEncodeQueryItem(value);
  }
  if (curl_url_set(handle.get(), CURLUPART_QUERY, query.c_str(), 0) != CURLUE_OK) return text;
  return urlPart(handle.get(), CURLUPART_URL).value_or(text);
}

Url morvaneWebsite(std::string_view path, bool supportsLocalization, bool includesUTMTracking) {
  std::optional<Url> url = Url::parse(morvaneWebsiteText(path, supportsLocalization, includesUTMTracking));
  return *url;  // never empty: the root alone is text
}

std::optional<Url> validatedWebLayerURL(std::string_view text) {
  auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  std::size_t begin = 0, end = text.size();
  while (begin < end && isSpace(text[begin])) ++begin;
  while (end > begin && isSpace(text[end - 1])) --end;
  std::string trimmed(text.substr(begin, end - begin));
  if (trimmed.empty()) return std::nullopt;
  if (trimmed.find("://") == std::string::npos) trimmed = "https://" + trimmed;

  CurlUrl handle = parseUrl(trimmed);
  if (!handle) return std::nullopt;
  std::string scheme = urlPart(handle.get(), CURLUPART_SCHEME).value_or("");
  std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (scheme == "http" || scheme == "https") {
    std::optional<std::string> host = urlPart(handle.get(), CURLUPART_HOST);
    if (!host || !hostPasses(*host)) return std::nullopt;
  } else if (scheme == "file") {
    std::optional<std::string> path = urlPart(handle.get(), CURLUPART_PATH);
    if (!path || path->empty()) return std::nullopt;
  } else {
    return std::nullopt;
  }
  return Url::parse(trimmed);
}

}  // namespace tav
