#pragma once

#include "catalogue/catalogue.h"

#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

// One value of a generated class: an attribute, the text of a child, or a child.
struct Member {
  enum class Kind { kText, kAttribute, kChild };
  Kind kind = Kind::kText;
  const Child* child = nullptr;  // for kChild
  ValueType type;                // for kText and kAttribute
  bool isRequired = false;
  bool isMany = false;
  std::string name;       // in event files; empty for kText
  std::string codeName;   // as in SetNAME
  std::string className;  // of a child's class, or of the field
  std::string variable;   // name of a parameter
  std::string text;       // what it means
};

// Returns the members of a class in the order of the catalogue: the text of a child, attributes, children.
// The required ones are the parameters of its constructor, in this order. `self` is the child, or null for an
// event.
[[nodiscard]] std::vector<Member> MembersOf(const Content& content, const Child* self,
                                            std::string_view className);

// The names of generated files and of what they declare.
struct GeneratedNames {
  // `name` is a word of ASCII letters, digits and '_'.
  explicit GeneratedNames(std::string_view name);
  std::string space;      // namespace in C++: acme
  std::string dotNet;     // namespace in .NET: AcmeEvents
  std::string header;     // acme_events.hpp
  std::string csharp;     // AcmeEvents.cs
  std::string relaxNg;    // acme.rng
  std::string schema;     // acme.schema.json
  std::string reference;  // acme.md
};

// Writes indented lines.
class CodeWriter {
 public:
  // Appends a line. An empty one is left out at the start of a block.
  void Line(std::string_view text = {});
  // Appends a line half a level further out.
  void Label(std::string_view text);
  // Appends `start`, the parts separated by commas, and `end`, in as many lines as they need.
  void List(std::string_view start, const std::vector<std::string>& parts, std::string_view end);
  // Appends a comment of as many lines as it needs, each behind `mark`.
  void Comment(std::string_view mark, std::string_view text);
  void Open(std::string_view text);
  // Ends what Open has begun. `text` is the closing line.
  void Close(std::string_view text);
  // Returns the text; with a byte-order mark if it is not ASCII, because compilers then take it for UTF-8.
  [[nodiscard]] std::string Take();
  // Returns the text without a mark.
  [[nodiscard]] std::string TakeUtf8() { return std::move(text_); }

 private:
  std::string text_;
  std::size_t level_ = 0;
};

// Returns a text as the inside of a literal of C++ or C#, in ASCII.
[[nodiscard]] std::string Literal(std::string_view utf8);

}  // namespace varnel::tool::catalogue
