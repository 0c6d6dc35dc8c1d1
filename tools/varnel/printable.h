#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

enum class LineEnds { kEscape, kKeep };

// A text of a file for a person, on a terminal and on the page alike: what cannot be seen, or is obeyed,
// becomes
// \\u{...}: control characters, marks that turn the direction of writing, characters without a width, and
// every combining mark but the first two of a letter. Bytes that are no UTF-8 become U+FFFD. Line feeds and
// tabs are escaped too, so a text stays in its line, unless they are to be kept.
[[nodiscard]] std::string Printable(std::string_view utf8, LineEnds lineEnds = LineEnds::kEscape);

}  // namespace varnel::tool
