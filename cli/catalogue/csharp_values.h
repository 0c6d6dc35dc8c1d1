#pragma once

#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

// Returns the lines of the class CatalogueText, which turns values into the texts of event files. Each
// generated C# source has a copy, because a program may use several catalogues.
[[nodiscard]] std::vector<std::string_view> CSharpValueLines();

}  // namespace varnel::tool::catalogue
