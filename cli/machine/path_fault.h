#pragma once

#include <optional>
#include <string>

namespace varnel::tool {

// A fault in a path from the registry that shows without a look at the disk's folders.
struct PathFault {
  std::string found;   // a clause that follows the setting's name
  std::string remedy;  // whole sentences
};

// Returns the fault of a path, or nothing. `path` is the text as stored. Faults are an empty path, a
// quotation mark, a blank at either end, a variable, a path that is not full, a character that Windows does
// not allow in names, and a drive that does not exist.
[[nodiscard]] std::optional<PathFault> FindPathFault(const std::wstring& path);

}  // namespace varnel::tool
