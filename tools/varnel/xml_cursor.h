#pragma once

#include "utf8.h"
#include "xml_reader.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// A place in a document that is read, and what XML says of characters, names and references. Every function
// throws an XmlVerdict: unfinished where the text ends, broken at a fault.
class XmlCursor {
 public:
  explicit XmlCursor(std::string_view text) : text_(text) {}

  // Text or a value that is being moved over: the bytes of the file since `from`, behind what stands in
  // `decoded` as soon as something in it is written in another form.
  struct Content {
    std::size_t start;
    std::size_t from = start;
    std::string decoded = {};
    [[nodiscard]] bool IsAsInFile() const { return from == start; }
  };

  [[noreturn]] void Refuse(std::size_t at, std::string why) const;
  [[noreturn]] void Unfinished() const;
  // A name from the file, for a message.
  [[nodiscard]] static std::string Quoted(std::string_view name);

  [[nodiscard]] std::size_t At() const { return at_; }
  [[nodiscard]] bool AtEnd() const { return at_ == text_.size(); }
  // The next byte.
  [[nodiscard]] char Peek() const;
  // True if this comes next.
  [[nodiscard]] bool Sees(char byte) const { return !AtEnd() && text_[at_] == byte; }
  [[nodiscard]] bool Sees(std::string_view mark) const { return text_.substr(at_, mark.size()) == mark; }
  [[nodiscard]] std::string_view Since(std::size_t start) const { return text_.substr(start, at_ - start); }

  void MoveTo(std::size_t at) { at_ = at; }
  // Moves past the mark if it comes next.
  bool Skip(std::string_view mark) { return (AtEnd() || text_[at_] == mark[0]) && SkipAll(mark); }
  // Move past blanks, and tell whether there were any. The second may reach the end of the text.
  bool Blanks();
  bool OuterBlanks();
  // Moves past a name without a prefix.
  void NamePart();
  void SkipAsciiName();
  // Moves past the quote that comes next, and returns it.
  char Quote();
  // Moves past '=' and the blanks around it.
  void Equals();
  // Moves past a character that means nothing but itself, and past the plain ASCII behind it.
  void Characters();
  // Move past a '&' and its reference, past a line end of any form, past so many bytes; another text takes
  // their place.
  void Reference(Content& content);
  void LineEnd(Content& content, std::string_view end);
  void Replace(Content& content, std::size_t length, std::string_view text);
  // Moves to the mark that ends a comment, an instruction or a section.
  void Until(std::string_view mark, Content& content);

 private:
  bool SkipAll(std::string_view mark);
  [[nodiscard]] Decoded Next() const;
  [[nodiscard]] char32_t CharacterOfNumber(std::size_t start, std::string_view digits) const;

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace varnel::tool
