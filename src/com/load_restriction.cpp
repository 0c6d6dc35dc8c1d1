#include "com/load_restriction.h"

#include <algorithm>

namespace varnel {
namespace {

constexpr std::wstring_view kAllowedProcesses[] = {L"OrbaFramework", L"OrbaUpdate", L"RegSvr32",
                                                   L"OrbaScript"};

constexpr wchar_t ToLowerAscii(wchar_t c) noexcept {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}

}  // namespace

bool MayLoadUnmanaged(std::wstring_view processFile) noexcept {
  const std::wstring_view name = processFile.substr(processFile.find_last_of(L"\\/") + 1);
  const auto dot = name.rfind(L'.');
  if (dot == std::wstring_view::npos || !EqualIgnoringCase(name.substr(dot), L".exe")) return false;
  return std::any_of(
      std::begin(kAllowedProcesses), std::end(kAllowedProcesses),
      [&](std::wstring_view allowed) { return EqualIgnoringCase(name.substr(0, dot), allowed); });
}

}  // namespace varnel
