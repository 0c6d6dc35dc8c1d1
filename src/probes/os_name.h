#pragma once

#include <cstdint>

namespace varnel {

// Writes the running system's display name into `destination` of `length` characters, for a buffer longer
// than the name zero-terminated and padded. An unknown system may leave the buffer exactly as it was: fill it
// before the call. Always returns 0.
std::int32_t GetOsName(wchar_t* destination, std::uint32_t length);

// Writes the registry's product type, "Workstation", "Server" or "N/A", in the same manner. Always returns 0.
std::int32_t ReadProductTypeText(wchar_t* destination, std::uint32_t length) noexcept;

}  // namespace varnel
