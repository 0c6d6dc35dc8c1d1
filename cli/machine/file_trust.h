#pragma once

#include <optional>
#include <string>

namespace varnel::tool {

// Returns as a clause why it is unsafe to load a file as an administrator: an account that is not an
// administrator could replace it. Returns nothing if only administrators could. Examines the access lists of
// the file and of all folders above it, on the path as given and, if links lead elsewhere, on the real path.
[[nodiscard]] std::optional<std::string> WhyNotTrusted(const std::wstring& file);

}  // namespace varnel::tool
