#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// A result of the library in the words of its own headers; ASCII.
struct ResultWords {
  std::string code;  // 0xFFFFFFC9
  std::string name;  // empty when the headers do not know it
  std::string meaning;
  std::string remedy;  // empty for a success
};
[[nodiscard]] ResultWords WordsOf(HRESULT code);

// A code as people find it: 0xFFFFFFC9, -55 or 4294967241. Nothing when it is none of them.
[[nodiscard]] std::optional<HRESULT> ParseResult(std::string_view text);

}  // namespace varnel::tool
