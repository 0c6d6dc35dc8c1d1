#pragma once

#include <string>
#include <string_view>

namespace AdvXMLParser {

// White space here is space, tab, CR and LF.

// Returns the part of `text` without white space at both ends.
std::wstring_view Trim(std::wstring_view text) noexcept;

// Returns a copy with each run of white space replaced by one space. Does not trim.
std::wstring CollapseWhitespace(std::wstring_view text);

}  // namespace AdvXMLParser
