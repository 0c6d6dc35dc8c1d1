#pragma once

#include "catalogue/catalogue.h"

#include <string>
#include <string_view>

namespace varnel::tool::catalogue {

// Names of elements and attributes.

// In bytes. Compilers limit names too: MSVC to 2,047 characters, in which a child has those of its parents.
constexpr std::size_t kLongestName = 100;
// True for an XML name of at most kLongestName bytes without a colon, and not "xmlns".
[[nodiscard]] bool IsXmlName(std::string_view utf8);

// The places at which the library has names of its own.
enum class Place { kRoot, kProductElement, kEvent, kChildOfEvent, kDeeperChild };
// True if the library itself uses the name at this place (docs/event-format.md).
[[nodiscard]] bool IsReserved(std::string_view name, Place place);

// Names in generated code: ASCII letters and digits.

// Returns the name of a class, and the end of a setter's name: "file-name" becomes FileName and "SHA256"
// Sha256. Returns an empty text if the name has no ASCII letter or digit.
[[nodiscard]] std::string ClassName(std::string_view name);
// Returns the name of a parameter: "FileName" becomes fileName. A keyword gets "Value" at its end.
[[nodiscard]] std::string VariableName(std::string_view name);
[[nodiscard]] bool IsKeyword(std::string_view name);
// Returns the name of a child's class. `parent` is the class around it, which C++ does not let it equal.
[[nodiscard]] std::string ChildClassName(std::string_view name, std::string_view parentClass);

}  // namespace varnel::tool::catalogue
