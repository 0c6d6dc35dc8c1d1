#pragma once

#include "base/handles.h"

#include <windows.h>

#include <cstdint>
#include <optional>

namespace varnel {

// Opens a key; `access` is that of RegOpenKeyEx. Returns an empty owner on failure.
[[nodiscard]] RegistryKey OpenRegistryKey(HKEY root, const wchar_t* path, REGSAM access) noexcept;

// Queries a value of any registry type as a 32-bit number. A value of fewer than four bytes replaces the low
// bytes of `initial`. Returns nothing if the value is missing or longer.
[[nodiscard]] std::optional<std::uint32_t> QueryFourBytes(const RegistryKey& key, const wchar_t* name,
                                                          std::uint32_t initial) noexcept;

}  // namespace varnel
