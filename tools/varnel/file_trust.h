#pragma once

#include <optional>
#include <string>

namespace varnel::tool {

// Returns why a file is not safe to be loaded by an administrator: someone who is not one could replace it,
// by the access lists of the file and of all folders above it, on the path as given and, where links lead
// elsewhere, on the real one. A clause; nothing when only administrators could.
[[nodiscard]] std::optional<std::string> WhyNotTrusted(const std::wstring& file);

}  // namespace varnel::tool
