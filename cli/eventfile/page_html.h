#pragma once

#include <string_view>

namespace varnel::tool {

// The contents of page.html; generated from the file (CMakeLists.txt).
extern const std::string_view kPageHtml;

}  // namespace varnel::tool
