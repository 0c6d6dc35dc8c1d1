#include "xml/whitespace.h"

namespace AdvXMLParser {
namespace {

constexpr std::wstring_view kWhitespace = L" \t\r\n";

}  // namespace

std::wstring_view Trim(std::wstring_view text) noexcept {
  const auto first = text.find_first_not_of(kWhitespace);
  if (first == std::wstring_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhitespace) - first + 1);
}

std::wstring CollapseWhitespace(std::wstring_view text) {
  std::wstring collapsed;
  collapsed.reserve(text.size());
  bool inRun = false;
  for (const wchar_t unit : text) {
    const bool isWhitespace = kWhitespace.find(unit) != std::wstring_view::npos;
    if (!isWhitespace)
      collapsed += unit;
    else if (!inRun)
      collapsed += L' ';
    inRun = isWhitespace;
  }
  return collapsed;
}

}  // namespace AdvXMLParser
