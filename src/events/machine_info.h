#pragma once

#include "xml/document.h"

#include <windows.h>

#include <string>
#include <string_view>

namespace varnel {

// The machine facts of a report. A fact that cannot be read gets a fallback value; this is logged only if the
// thread's impersonation prevents reading it.

// Appends "MachineName", "AgentGUID", "IPAddress", "OSName", "UserName" and "TimeZoneBias" to the machine
// element, or none of them if there is no memory. An empty `userName` means the user of the thread; `os` is
// written as it is. A second call appends a second set.
void AddMachineFacts(AdvXMLParser::Element& machine, std::wstring_view os, std::wstring_view userName);

// Appends "RawMACAddress" with the hardware address of the adapter that has the element's first "IPAddress",
// or of the first adapter if that is empty; an empty text if there is none. Returns false, and logs it, if
// `machine` is null or has no machine facts. A second call appends a second one.
[[nodiscard]] bool AddMacAddress(AdvXMLParser::Element* machine);

// Returns the minutes to add to local time to get UTC, in decimal and with daylight saving time, from the
// result and output of GetTimeZoneInformation. Returns "0" if that failed. StandardBias is ignored on
// purpose; the server expects that.
[[nodiscard]] std::wstring TimeZoneBiasFrom(DWORD zoneId, const TIME_ZONE_INFORMATION& zone);

}  // namespace varnel
