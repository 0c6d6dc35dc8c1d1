#pragma once

#include "base/handles.h"

#include <windows.h>

#include <cstdint>
#include <optional>

namespace varnel {

// The opened key, or an empty one when it cannot be opened. `access` as for RegOpenKeyEx.
[[nodiscard]] RegistryKey OpenRegistryKey(HKEY root, const wchar_t* path, REGSAM access) noexcept;

// Queries a value as four bytes of any registry type. The bytes read lie over those of `initial`, so a
// shorter value keeps the upper bytes of `initial`; a longer one is not read at all. Nothing on failure.
[[nodiscard]] std::optional<std::uint32_t> QueryFourBytes(const RegistryKey& key, const wchar_t* name,
                                                          std::uint32_t initial) noexcept;

}  // namespace varnel
