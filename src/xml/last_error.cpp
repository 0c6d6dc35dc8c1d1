#include "xml/last_error.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace AdvXMLParser {
namespace {

constexpr std::size_t kCapacity = 1024;  // our messages with any errno text take less than a tenth
constexpr std::size_t kConversionFailed = static_cast<std::size_t>(-1);

// A plain array: it needs no heap, and a reader that races with a writer never follows a freed pointer. The
// last unit is never written.
wchar_t g_text[kCapacity];

void Append(const wchar_t* more) noexcept {
  const std::size_t used = std::wcslen(g_text);
  std::wcsncpy(g_text + used, more, kCapacity - 1 - used);
}

}  // namespace

const wchar_t* GetLastErrorText() noexcept {
  return g_text;
}

void ClearLastErrorText() noexcept {
  g_text[0] = L'\0';
}

void SetLastErrorText(const wchar_t* message) noexcept {
  ClearLastErrorText();
  Append(message);
}

void SetErrorWithErrno(const wchar_t* message) noexcept {
  const char* const reason = std::strerror(errno);
  SetLastErrorText(message);
  Append(L": ");
  if (std::mbstowcs(nullptr, reason, 0) == kConversionFailed) return;
  wchar_t wide[kCapacity] = {};
  if (std::mbstowcs(wide, reason, kCapacity - 1) != kConversionFailed) Append(wide);
}

}  // namespace AdvXMLParser
