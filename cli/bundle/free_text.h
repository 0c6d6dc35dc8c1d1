#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

// Returns what stands for a text that is left out: its type and length, like [text, 23 characters]. A blank
// text stays.
[[nodiscard]] std::string Described(std::string_view text);

// Returns a log as UTF-8. A log in UTF-16 is recognised by its byte-order mark or its zero bytes.
[[nodiscard]] std::string LogAsUtf8(std::string_view bytes);

// The parts of a line of the library's log, in any of its forms (docs/settings.md).
struct LogLine {
  std::string_view header;  // time, level, process, thread and facility; empty: not such a line
  std::string_view text;
};
[[nodiscard]] LogLine PartsOf(std::string_view line);

}  // namespace varnel::tool
