#pragma once

#include <cstdint>
#include <span>

namespace varnel {

// Private to this folder; other folders include agent_settings.h.

// Reads the value's bytes as UTF-16, whatever its registry type, up to the first zero, into `destination` of
// `capacity` characters. `subkey` is a path below HKEY_LOCAL_MACHINE. A shorter text is padded with zeros. A
// text of `capacity` characters or more fills the destination and is NOT terminated: callers pass one
// character less than the buffer has, or test the last one. Returns false, with the destination unchanged, if
// the value cannot be read or there is no memory.
[[nodiscard]] bool ReadRegistryString(wchar_t* destination, std::uint16_t capacity, const wchar_t* subkey,
                                      const wchar_t* valueName) noexcept;

// Like ReadRegistryString, but also returns false, with the destination filled, if the text leaves no room
// for its terminator.
[[nodiscard]] bool ReadWholeRegistryString(std::span<wchar_t> destination, const wchar_t* subkey,
                                           const wchar_t* valueName) noexcept;

}  // namespace varnel
