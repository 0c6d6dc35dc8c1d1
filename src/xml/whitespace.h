#pragma once

#include <string>
#include <string_view>

namespace AdvXMLParser {

// White space here is space, tab, CR and LF.

// A view without the white space at both ends; it points into `text`.
std::wstring_view Trim(std::wstring_view text) noexcept;

// A copy in which every run of white space is one space; not trimmed.
std::wstring CollapseWhitespace(std::wstring_view text);

}  // namespace AdvXMLParser
