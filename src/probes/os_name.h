#pragma once

#include <cstdint>

namespace varnel {

// Writes the display name of this version of Windows into `destination` of `length` characters. A shorter
// name is padded with zeros; one of `length` characters or more is cut and not terminated. Writes nothing for
// some unknown versions, so callers fill the buffer first. Always returns 0. Throws like LoadSystemLibrary.
std::int32_t GetOsName(wchar_t* destination, std::uint32_t length);

// Writes the registry's product type, "Workstation", "Server" or "N/A", with the same rules for length.
// Always returns 0.
std::int32_t ReadProductTypeText(wchar_t* destination, std::uint32_t length) noexcept;

}  // namespace varnel
