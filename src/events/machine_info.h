#pragma once

#include "xml/document.h"

#include <windows.h>

#include <string>
#include <string_view>

namespace varnel {

// What the machine element tells of the machine. A fact that cannot be found out
// falls back; silently, unless the thread that it is asked on keeps the library from looking.

// Appends "MachineName", "AgentGUID", "IPAddress", "OSName", "UserName" and "TimeZoneBias" to the machine
// element; when there is no memory, none of them. An empty `userName` stands for the process's account. A
// second call adds a second set.
void AddMachineFacts(AdvXMLParser::Element& machine, std::wstring_view os, std::wstring_view userName);

// Appends "RawMACAddress" with the hardware address of the adapter that carries the element's "IPAddress", or
// of the first adapter when that is empty; with an empty text when there is none. False, and logged, when
// `machine` is null or lacks the facts.
[[nodiscard]] bool AddMacAddress(AdvXMLParser::Element* machine);

// Minutes to add to local time to get UTC, in decimal, daylight time included, from what
// GetTimeZoneInformation returned and filled in; "0" when it failed.
[[nodiscard]] std::wstring TimeZoneBiasFrom(DWORD zoneId, const TIME_ZONE_INFORMATION& zone);

}  // namespace varnel
