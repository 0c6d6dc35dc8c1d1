#pragma once

#include "console/utf8.h"
#include "eventfile/xml_verdict.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// A position in a document, with XML's rules for characters, names and references. Every function may throw
// an XmlVerdict: unfinished at the end of the text, broken at a fault.
class XmlCursor {
 public:
  explicit XmlCursor(std::string_view text) : text_(text) {}

  // Text or an attribute value while it is read. As long as the value is written literally, it is the file's
  // bytes from `start`; after a reference or line end has been replaced, it is `decoded` followed by the
  // file's bytes from `from`.
  struct Content {
    std::size_t start;
    std::size_t from = start;
    std::string decoded = {};
    [[nodiscard]] bool IsAsInFile() const { return from == start; }
  };

  [[noreturn]] void Refuse(std::size_t at, std::string why) const;
  [[noreturn]] void Unfinished() const;
  // Returns a name from the file for a message, cut if it is long.
  [[nodiscard]] static std::string Quoted(std::string_view name);

  [[nodiscard]] std::size_t At() const { return at_; }
  [[nodiscard]] bool AtEnd() const { return at_ == text_.size(); }
  // Returns the next byte.
  [[nodiscard]] char Peek() const;
  // True if the text goes on with this byte or mark.
  [[nodiscard]] bool Sees(char byte) const { return !AtEnd() && text_[at_] == byte; }
  [[nodiscard]] bool Sees(std::string_view mark) const { return text_.substr(at_, mark.size()) == mark; }
  [[nodiscard]] std::string_view Since(std::size_t start) const { return text_.substr(start, at_ - start); }

  void MoveTo(std::size_t at) { at_ = at; }
  // Moves past the mark if the text goes on with it; returns whether it did. A text that ends within the mark
  // is unfinished.
  bool Skip(std::string_view mark) { return (AtEnd() || text_[at_] == mark[0]) && SkipAll(mark); }
  // Move past blanks; return whether there were any. Only OuterBlanks may reach the end of the text.
  bool Blanks();
  bool OuterBlanks();
  // Moves past a name without a prefix.
  void NamePart();
  // Moves past ASCII name characters, possibly none.
  void SkipAsciiName();
  // Moves past a quote and returns it.
  char Quote();
  // Moves past '=' and the blanks around it.
  void Equals();
  // Moves past one literal character and the literal ASCII characters that follow it.
  void Characters();
  // Move past a reference, a line end of any form, or `length` bytes, and add the replacement text to the
  // content.
  void Reference(Content& content);
  void LineEnd(Content& content, std::string_view end);
  void Replace(Content& content, std::size_t length, std::string_view text);
  // Moves to the mark that ends a comment, a processing instruction or a CDATA section, with line ends
  // replaced by line feeds in the content.
  void Until(std::string_view mark, Content& content);

 private:
  bool SkipAll(std::string_view mark);
  [[nodiscard]] Decoded Next() const;
  [[nodiscard]] char32_t CharacterOfNumber(std::size_t start, std::string_view digits) const;

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace varnel::tool
