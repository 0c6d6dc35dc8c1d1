#pragma once

#include <cstddef>
#include <cstdint>

namespace varnel {

constexpr wchar_t kFrameworkKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";
constexpr wchar_t kEventParserKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon\\EventParser";

// Reads the value's text (of any registry type, up to its first zero) into `destination` of `capacity`
// characters. `subkey` is a path under HKEY_LOCAL_MACHINE. A shorter text is padded with zeros; one of
// `capacity` characters or more fills the destination without a terminator, so callers give one character
// less than they have or test the last one. False, with the destination untouched, when the value cannot be
// read or there is no memory.
[[nodiscard]] bool ReadRegistryString(wchar_t* destination, std::uint16_t capacity, const wchar_t* subkey,
                                      const wchar_t* valueName) noexcept;

// The same into a whole array, for operations that need the complete text: a text that leaves no room for its
// terminator counts as unreadable.
template <std::size_t N>
[[nodiscard]] bool ReadWholeRegistryString(wchar_t (&destination)[N], const wchar_t* subkey,
                                           const wchar_t* valueName) noexcept {
  static_assert(N <= UINT16_MAX);
  return ReadRegistryString(destination, static_cast<std::uint16_t>(N), subkey, valueName) &&
         destination[N - 1] == L'\0';
}

}  // namespace varnel
