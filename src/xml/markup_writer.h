#pragma once

#include "xml/node.h"

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
  bool atLineStart = false;  // for indented output: the latest output was a line end
};

// Writes the compact markup of a node and everything below it, on one line and with texts as stored, as UTF-8
// and returns its end. `to` has room for all of it. Half a surrogate pair is written as three bytes.
// Overwrites up to Arena::kSlack bytes after the end.
char* WriteCompactUtf8(const Node& node, char* to);

}  // namespace AdvXMLParser
