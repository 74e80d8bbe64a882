#include "tav/foundation/markdown_links.hpp"

#include <regex>

namespace tav {

AttributedText withParsedMarkdownLinks(std::string_view text) {
  // Made once for the process; group 1 is the title, group 2 the target.
  static const std::regex pattern(R"(\[([^\[\]]+)\]\(([^\(\)]+)\))");

  AttributedText result{std::string(text), {}};
  using Iterator = std::regex_iterator<std::string_view::const_iterator>;
  for (Iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
    const auto& match = *it;
    // Every earlier replacement made the text shorter; shift the match's place in the input by that.
    const std::ptrdiff_t delta =
        static_cast<std::ptrdiff_t>(result.string.size()) - static_cast<std::ptrdiff_t>(text.size());
    const std::size_t location = static_cast<std::size_t>(match.position(0) + delta);
    std::string title = match.str(1);
    result.links.push_back(TextLink{location, title.size(), match.str(2), 0});
    result.string.replace(location, static_cast<std::size_t>(match.length(0)), title);
  }
  return result;
}

}  // namespace tav
