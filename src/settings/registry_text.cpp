#include "settings/registry_text.h"

#include "base/malloc_ptr.h"
#include "base/registry.h"

#include <cwchar>

namespace varnel {
namespace {

constexpr DWORD kFirstBufferBytes = 520;
constexpr DWORD kFirstRequestBytes = kFirstBufferBytes / 2;  // agents' texts fit; the other half stays zero

}  // namespace

bool ReadRegistryString(wchar_t* destination, std::uint16_t capacity, const wchar_t* subkey,
                        const wchar_t* valueName) noexcept {
  if (!destination || !valueName) return false;
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, subkey, KEY_READ);
  if (!key) return false;

  // Twice as large as the size that the query announces, and zero-filled, so that the text is terminated.
  wchar_t firstBuffer[kFirstBufferBytes / sizeof(wchar_t)] = {};
  MallocPtr<wchar_t[]> largerBuffer;
  wchar_t* buffer = firstBuffer;
  DWORD size = kFirstRequestBytes;
  const auto query = [&] {
    return RegQueryValueExW(key.Get(), valueName, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
  };
  LSTATUS status = query();
  constexpr DWORD kMostBytes = 0x1000'0000;
  while (status == ERROR_MORE_DATA && size < kMostBytes) {
    largerBuffer = AllocateZeroed<wchar_t>(std::size_t{size} + 1);  // never empty, whatever size we are told
    if (!largerBuffer) return false;
    buffer = largerBuffer.get();
    status = query();
  }
  if (status != ERROR_SUCCESS) return false;
  std::wcsncpy(destination, buffer, capacity);
  return true;
}

bool ReadWholeRegistryString(std::span<wchar_t> destination, const wchar_t* subkey,
                             const wchar_t* valueName) noexcept {
  const auto capacity = static_cast<std::uint16_t>(destination.size());
  return ReadRegistryString(destination.data(), capacity, subkey, valueName) && destination.back() == L'\0';
}

}  // namespace varnel
