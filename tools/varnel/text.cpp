#include "text.h"

#include <windows.h>

#include <cstdio>

namespace varnel::tool {
namespace {

bool IsObeyed(wchar_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) ||  // controls
         unit == 0x61C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) ||
         (unit >= 0x2066 && unit <= 0x2069) ||  // directions
         unit == 0x2028 || unit == 0x2029 || unit == 0xFEFF;
}

std::wstring FromCodePage(UINT codePage, std::string_view bytes) {
  std::wstring text(bytes.size(), L'\0');  // a unit for each byte is enough
  const int length = MultiByteToWideChar(codePage, 0, bytes.data(), static_cast<int>(bytes.size()),
                                         text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace

std::wstring ToWide(std::string_view utf8) {
  return FromCodePage(CP_UTF8, utf8);
}

std::wstring FromAnsi(std::string_view ansi) {
  return FromCodePage(CP_ACP, ansi);
}

std::string ToUtf8(std::wstring_view utf16) {
  std::string text(utf16.size() * 3, '\0');
  const int length = WideCharToMultiByte(CP_UTF8, 0, utf16.data(), static_cast<int>(utf16.size()),
                                         text.data(), static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string Printable(std::string_view utf8) {
  return Printable(ToWide(utf8));
}

std::string Printable(std::wstring_view utf16) {
  std::wstring shown;
  for (const wchar_t unit : utf16) {
    if (!IsObeyed(unit)) {
      shown += unit;
      continue;
    }
    wchar_t escaped[12];
    std::swprintf(escaped, 12, L"\\u{%x}", static_cast<unsigned>(unit));
    shown += escaped;
  }
  return ToUtf8(shown);
}

}  // namespace varnel::tool
