#pragma once

#include <cstdint>
#include <string>

namespace AdvXMLParser {

// What the nodes of one document share while they write themselves.
struct WriteContext {
  WriteContext(bool isIndented, std::wstring* text) noexcept : indented(isIndented), out(text) {}

  bool indented;  // else on one line, texts as stored
  const wchar_t* indent = L"  ";
  std::wstring* out;
  std::int32_t depth = 0;
  // The last thing written closed an element, an instruction, a CDATA section or a comment.
  bool lastWasClosed = false;
  bool atLineStart = false;
};

}  // namespace AdvXMLParser
