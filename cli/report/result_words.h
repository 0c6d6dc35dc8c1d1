#pragma once

#include "varnel/system.h"

#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// A result and its words in the library's headers, in ASCII.
struct ResultWords {
  std::string code;  // 0xFFFFFFC9
  std::string name;  // empty if the headers do not have it
  std::string meaning;
  std::string remedy;  // empty for a success
};
// Returns the words for a result.
[[nodiscard]] ResultWords WordsOf(HRESULT code);

// Parses a result as logs and scripts show it: 0xFFFFFFC9, -55 or 4294967241. Returns nothing for any other
// text.
[[nodiscard]] std::optional<HRESULT> ParseResult(std::string_view text);

}  // namespace varnel::tool
