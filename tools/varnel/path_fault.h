#pragma once

#include <optional>
#include <string>

namespace varnel::tool {

// What is wrong with a path from the registry, before any folder is looked at.
struct PathFault {
  std::string found;   // a clause that follows the setting's name
  std::string remedy;  // whole sentences
};

// `path` is taken as it is stored: variables, quotation marks and blanks at the ends count.
[[nodiscard]] std::optional<PathFault> FindPathFault(const std::wstring& path);

}  // namespace varnel::tool
