#include "fuzz_input.h"
#include "settings/registry_text.h"

#include <windows.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <string>
#include <utility>

namespace {

using varnel::fuzz::Require;

FuzzedDataProvider* source;
int openKeys;
LSTATUS lastAnswer;
std::vector<BYTE> delivered;

bool Fails() {
  return source->ConsumeIntegral<BYTE>() == UINT8_MAX;
}

// The characters up to the first zero; a last incomplete one counts with its missing bytes zero.
std::wstring DeliveredText() {
  std::wstring text(delivered.size() / sizeof(wchar_t) + 1, L'\0');
  std::copy(delivered.begin(), delivered.end(), reinterpret_cast<BYTE*>(text.data()));
  return text.substr(0, text.find(L'\0'));
}

void Check(std::uint16_t capacity) {
  constexpr wchar_t kUntouched = 0x5A5A;
  constexpr std::size_t kBehind = 8;
  std::wstring destination(capacity + kBehind, kUntouched);
  std::wstring expected = destination;
  const bool read = varnel::ReadRegistryString(destination.data(), capacity, L"Some Key", L"Some Value");
  Require(lastAnswer != ERROR_MORE_DATA, "a value that has grown is asked for again");
  Require(read == (lastAnswer == ERROR_SUCCESS), "a text is read when the registry delivers one");
  Require(openKeys == 0, "every key is closed");
  if (read) {
    std::wstring text = DeliveredText();
    text.resize(capacity, L'\0');
    expected.replace(0, capacity, text);
  }
  Require(destination == expected, "the text, padded with zeros, and nothing else is written");
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY parent, const wchar_t*, DWORD, REGSAM, HKEY* key) noexcept {
  lastAnswer = Fails() ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
  if (lastAnswer != ERROR_SUCCESS) return lastAnswer;
  *key = parent;
  ++openKeys;
  return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY) noexcept {
  --openKeys;
  return ERROR_SUCCESS;
}

// The value is another one at each look. Short inputs make long values, with or without a zero.
LSTATUS RegQueryValueExW(HKEY, const wchar_t*, DWORD*, DWORD*, BYTE* data, DWORD* size) noexcept {
  constexpr DWORD kLargest = 5000;
  const bool fails = Fails();
  const auto length = source->ConsumeIntegralInRange<DWORD>(0, kLargest);
  const auto filler = source->ConsumeIntegral<BYTE>();
  auto value = source->ConsumeBytes<BYTE>(length);
  value.resize(length, filler);

  const DWORD room = std::exchange(*size, length);
  if (fails || length > room) {
    std::memset(data, filler, room);  // what a refused query leaves there is undefined
    return lastAnswer = fails ? ERROR_FILE_NOT_FOUND : ERROR_MORE_DATA;
  }
  std::copy(value.begin(), value.end(), data);
  delivered = std::move(value);
  return lastAnswer = ERROR_SUCCESS;
}

// The sanitizers do not see what the C library's own would read and write.
extern "C" wchar_t* wcsncpy(wchar_t* destination, const wchar_t* text, std::size_t count) noexcept {
  std::size_t at = 0;
  for (; at < count && text[at] != L'\0'; ++at) destination[at] = text[at];
  for (; at < count; ++at) destination[at] = L'\0';
  return destination;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint16_t kMaxCapacity = 1500;
  FuzzedDataProvider input(data, size);
  source = &input;
  Check(input.ConsumeIntegralInRange<std::uint16_t>(0, kMaxCapacity));
  return 0;
}
