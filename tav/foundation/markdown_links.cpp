#include "tav/foundation/markdown_links.hpp"

#include <optional>

namespace tav {
namespace {

struct LinkMatch {
  std::size_t end;  // one past the closing ")"
  std::string_view title;
  std::string_view target;
};

/// The link "[title](target)" starting at `start`, as the pattern \[([^\[\]]+)\]\(([^\(\)]+)\) would
/// match it there. The pattern's classes exclude its own delimiters, so each part simply runs to the
/// first delimiter and no backtracking is ever needed.
std::optional<LinkMatch> linkAt(std::string_view text, std::size_t start) {
  if (text[start] != '[') return std::nullopt;
  std::size_t titleEnd = text.find_first_of("[]", start + 1);
  if (titleEnd == std::string_view::npos || text[titleEnd] != ']' || titleEnd == start + 1) return std::nullopt;
  std::size_t open = titleEnd + 1;
  if (open >= text.size() || text[open] != '(') return std::nullopt;
  std::size_t targetEnd = text.find_first_of("()", open + 1);
  if (targetEnd == std::string_view::npos || text[targetEnd] != ')' || targetEnd == open + 1) return std::nullopt;
  return LinkMatch{targetEnd + 1, text.substr(start + 1, titleEnd - start - 1),
                   text.substr(open + 1, targetEnd - open - 1)};
}

}  // namespace

LinkedText withParsedMarkdownLinks(std::string_view text) {
  LinkedText result;
  result.string.reserve(text.size());
  // One pass, leftmost match first, matches never overlapping: the text between links is copied as it
  // is, each link is replaced by its title.
  std::size_t copied = 0;
  std::size_t at = text.find('[');
  while (at != std::string_view::npos) {
    if (auto link = linkAt(text, at)) {
      result.string.append(text.substr(copied, at - copied));
      result.links.push_back(TextLink{result.string.size(), link->title.size(), std::string(link->target), 0});
      result.string.append(link->title);
      copied = link->end;
      at = text.find('[', link->end);
    } else {
      at = text.find('[', at + 1);
    }
  }
  result.string.append(text.substr(copied));
  return result;
}

}  // namespace tav
