#include "tav/scene/display_host.hpp"

#include <cstddef>
#include <string_view>

namespace tav {
namespace {

constexpr std::size_t kMaximumCharacters = 30;
constexpr std::string_view kEllipsis = "\u2026";
constexpr std::string_view kWorldWideWebPrefix = "www.";

/// True for the bytes that continue a UTF-8 sequence rather than start a character.
bool isContinuationByte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// The byte offset where character number `count` begins, or npos when the text has no more than
/// `count` characters.
std::size_t offsetOfCharacter(std::string_view text, std::size_t count) {
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isContinuationByte(text[i])) continue;
    if (seen == count) return i;
    ++seen;
  }
  return std::string_view::npos;
}

}  // namespace

std::string displayHost(const Url& url) {
  std::string text = url.host().value_or(url.absoluteString());
  // 31 characters or more: character 30 (counting from 0) exists, and everything from it goes.
  if (std::size_t cut = offsetOfCharacter(text, kMaximumCharacters); cut != std::string_view::npos) {
    text.resize(cut);
    text += kEllipsis;
  }
  if (text.starts_with(kWorldWideWebPrefix)) text.erase(0, kWorldWideWebPrefix.size());
  return text;
}

}  // namespace tav
