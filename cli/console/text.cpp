#include "console/text.h"

#include <windows.h>

namespace varnel::tool {
namespace {

std::wstring FromCodePage(UINT codePage, std::string_view bytes) {
  std::wstring text(bytes.size(), L'\0');  // at most one unit for each byte
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

std::string Printable(std::wstring_view utf16) {
  return Printable(ToUtf8(utf16));
}

}  // namespace varnel::tool
