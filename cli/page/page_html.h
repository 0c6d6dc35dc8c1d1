#pragma once

#include <string_view>

namespace varnel::tool {

// The page without its data blocks; generated from page.html, page.css and scripts/ (embed_page.cmake).
extern const std::string_view kPageHtml;

}  // namespace varnel::tool
