#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace AdvXMLParser {

// What the nodes of one document share while they write themselves.
struct WriteContext {
  // With a null `text` nothing is written and only the length is counted.
  WriteContext(bool isIndented, std::wstring* text) noexcept : indented(isIndented), out(text) {}

  void Append(std::wstring_view markup);
  // Appends character data with < > & ' " replaced by entities and every other UTF-16 unit unchanged.
  void AppendEscaped(std::wstring_view value);

  // Ends the line unless one has just been ended.
  void BreakLine();
  // Indents for the current depth; the outermost level stands at the margin.
  void WriteIndent();
  // Puts the tag that follows on a line of its own.
  void StartLine();

  bool indented;  // else on one line, texts as stored
  const wchar_t* indent = L"  ";
  std::wstring* out;
  std::int32_t depth = 0;
  // The last thing written closed an element, an instruction, a CDATA section or a comment.
  bool lastWasClosed = false;
  bool atLineStart = false;
  // UTF-16 units written or, without an output, that would have been.
  std::size_t length = 0;
};

}  // namespace AdvXMLParser
