// Links written as [title](target) in a text the library shows, turned into linked runs in one pass.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tav {

/// One run of linked text: `length` bytes at byte offset `location` of the text, linking to `target`.
/// `underlineStyle` is 0: links show no underline.
struct TextLink {
  std::size_t location = 0;
  std::size_t length = 0;
  std::string target;
  int underlineStyle = 0;
  friend bool operator==(const TextLink&, const TextLink&) = default;
};

/// Text with link runs, in text order; the styled text the host shows. (The drawn text of a text layer,
/// with its font and colour, is the scene's AttributedText.)
struct LinkedText {
  std::string string;
  std::vector<TextLink> links;
  friend bool operator==(const LinkedText&, const LinkedText&) = default;
};

/// Replaces every "[title](target)" with `title` carrying a link to `target`. The title holds neither
/// "[" nor "]" and the target neither "(" nor ")", so nested brackets are left as they are. Text with no
/// match comes back unchanged and without links. Offsets are in bytes of the UTF-8 text.
LinkedText withParsedMarkdownLinks(std::string_view text);

}  // namespace tav
