#pragma once

#include "catalogue/catalogue.h"

#include <string>
#include <string_view>

namespace varnel::tool::catalogue {

// A row of the table of built-in types, which is in the order of ValueKind.
struct BuiltInType {
  ValueKind kind;
  std::string_view name;     // in a catalogue
  std::string_view form;     // of its text in an event file, in words
  std::string_view pattern;  // the same as a regular expression of XML Schema and ECMAScript; empty: any text
  std::string_view example;
  bool (*fits)(std::string_view text);
};

// Returns the row of a built-in type; null for a name that is not one.
[[nodiscard]] const BuiltInType* FindBuiltInType(std::string_view name);
// Returns the row of a kind other than kOwn.
[[nodiscard]] const BuiltInType& BuiltIn(ValueKind kind);
// Returns the names of all built-in types, separated by ", ".
[[nodiscard]] std::string BuiltInNames();

// Returns the type's name in the catalogue.
[[nodiscard]] std::string_view NameOf(const Catalogue& catalogue, ValueType type);
// True if an event file may have this text as a value of the type.
[[nodiscard]] bool Fits(const Catalogue& catalogue, ValueType type, std::string_view text);
// Returns what a value of the type looks like, to follow "must be".
[[nodiscard]] std::string FormOf(const Catalogue& catalogue, ValueType type);
// Returns a value for the reference: `example` or, if that is empty, one of the type.
[[nodiscard]] std::string_view ExampleOf(const Catalogue& catalogue, ValueType type,
                                         const std::string& example);

}  // namespace varnel::tool::catalogue
