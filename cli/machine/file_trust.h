#pragma once

#include <optional>
#include <string>

namespace varnel::tool {

// Returns as a clause why it is unsafe to load a file (full path) as an administrator: another account could
// replace it, it is on a network drive, or the file or an access list cannot be read. Returns nothing if only
// administrators could replace it. Examines the access lists of the file and of all folders above it, on the
// path as given and, if links lead elsewhere, on the real path.
[[nodiscard]] std::optional<std::string> WhyNotTrusted(const std::wstring& file);

}  // namespace varnel::tool
