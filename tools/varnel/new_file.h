#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

// Writes these bytes into a new file beside `path`, which then takes that name: a symbolic or hard link there
// is replaced, not written through. False, with what was there untouched, on failure.
[[nodiscard]] bool ReplaceFileContent(const std::wstring& path, std::string_view bytes);

}  // namespace varnel::tool
