#include "console/wide_text.h"

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

NativePath ToNative(std::string_view argument) {
  return ToWide(argument);
}

std::string ToUtf8(NativePathView path) {
  std::string text(path.size() * 3, '\0');
  const int length = WideCharToMultiByte(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), text.data(),
                                         static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string_view FileNameOf(std::string_view path) {
  return path.substr(path.find_last_of("\\/") + 1);
}

std::string Printable(std::wstring_view utf16) {
  return Printable(ToUtf8(utf16));
}

}  // namespace varnel::tool
