#include "tav/obs/obs_profile_config.hpp"

#include <charconv>

namespace tav::OBSProfileConfig {
namespace {

// Spaces and tabs, and the carriage return of a CRLF file, which the split at line feeds leaves.
std::string_view trimmed(std::string_view s) {
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!s.empty() && blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && blank(s.back())) s.remove_suffix(1);
  return s;
}

std::optional<double> number(std::optional<std::string> text) {
  if (!text || text->empty()) return std::nullopt;
  double result = 0;
  const char* begin = text->data();
  const char* end = begin + text->size();
  if (*begin == '+') return std::nullopt;
  auto [ptr, ec] = std::from_chars(begin, end, result);
  if (ec != std::errc() || ptr != end) return std::nullopt;
  return result;
}

}  // namespace

std::optional<std::string> value(std::string_view key, std::string_view section, std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  bool inSection = false;
  while (true) {
    const std::size_t end = text.find('\n');
    const std::string_view line = trimmed(text.substr(0, end));
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      inSection = line.substr(1, line.size() - 2) == section;
    } else if (inSection) {
      const std::size_t equals = line.find('=');
      if (equals != std::string_view::npos && trimmed(line.substr(0, equals)) == key) {
        return std::string(trimmed(line.substr(equals + 1)));
      }
    }
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return std::nullopt;
}

std::optional<std::string> activeProfileDirectory(std::string_view userINI) {
  auto found = value("ProfileDir", "Basic", userINI);
  if (!found) found = value("Profile", "Basic", userINI);
  if (!found || found->empty()) return std::nullopt;
  return found;
}

std::optional<Size> canvasSize(std::string_view basicINI) {
  const auto cx = number(value("BaseCX", "Video", basicINI));
  const auto cy = number(value("BaseCY", "Video", basicINI));
  if (cx && cy && *cx > 0 && *cy > 0) return Size{*cx, *cy};
  return std::nullopt;
}

}  // namespace tav::OBSProfileConfig
