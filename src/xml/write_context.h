#pragma once

#include <cstdint>
#include <string>

namespace AdvXMLParser {

// The state of writing a node and everything below it.
struct WriteContext {
  WriteContext(bool isIndented, std::wstring* text) noexcept : indented(isIndented), out(text) {}

  bool indented;  // false: on one line, texts as stored
  const wchar_t* indent = L"  ";
  std::wstring* out;
  std::int32_t depth = 0;
  // For indented output: true if the latest output ended an element, an instruction, a CDATA section or a
  // comment.
  bool lastWasClosed = false;
  bool atLineStart = false;
};

}  // namespace AdvXMLParser
