#pragma once

#include <cstdint>
#include <span>

namespace varnel {

// Private to this folder: what others need of the registry is in agent_settings.h.

// Reads the value's text (of any registry type, up to its first zero) into `destination` of `capacity`
// characters. `subkey` is a path under HKEY_LOCAL_MACHINE. A shorter text is padded with zeros; one of
// `capacity` characters or more fills the destination without a terminator, so callers give one character
// less than they have or test the last one. False, with the destination untouched, when the value cannot be
// read or there is no memory.
[[nodiscard]] bool ReadRegistryString(wchar_t* destination, std::uint16_t capacity, const wchar_t* subkey,
                                      const wchar_t* valueName) noexcept;

// The same for operations that need the complete text: a text that leaves no room for its terminator counts
// as unreadable.
[[nodiscard]] bool ReadWholeRegistryString(std::span<wchar_t> destination, const wchar_t* subkey,
                                           const wchar_t* valueName) noexcept;

}  // namespace varnel
