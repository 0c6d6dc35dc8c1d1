#pragma once

#include <windows.h>

#include <string>

namespace varnel {

// What the machine element tells of the machine. A fact that cannot be found out falls back silently. All
// throw std::bad_alloc.

// Empty when the system does not tell.
[[nodiscard]] std::wstring MachineName();

// The address that the agent has been given, else the one that the machine's own name resolves to; may be
// empty.
[[nodiscard]] std::wstring MachineAddress();

// The account that the process runs as; "system" when the system does not tell.
[[nodiscard]] std::wstring AccountName();

// Minutes to add to local time to get UTC, in decimal, daylight time included; "0" when the system does not
// tell.
[[nodiscard]] std::wstring TimeZoneBias();
// The same from what GetTimeZoneInformation returned and filled in.
[[nodiscard]] std::wstring TimeZoneBiasFrom(DWORD zoneId, const TIME_ZONE_INFORMATION& zone);

}  // namespace varnel
