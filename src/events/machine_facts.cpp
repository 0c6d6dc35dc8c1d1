#include "events/machine_facts.h"

#include "probes/host_address.h"
#include "settings/agent_settings.h"

#include <iterator>

namespace varnel {

std::wstring MachineName() {
  wchar_t name[200] = {};
  DWORD length = static_cast<DWORD>(std::size(name));
  if (!GetComputerNameW(name, &length)) return {};
  return name;
}

std::wstring MachineAddress() {
  std::wstring address = ReadAgentIPAddress();
  if (address.empty()) GetHostNameAndAddress(address);
  return address;
}

std::wstring AccountName() {
  wchar_t name[200] = L"system";
  DWORD length = static_cast<DWORD>(std::size(name));
  if (!GetUserNameW(name, &length)) return L"system";
  return name;
}

std::wstring TimeZoneBias() {
  TIME_ZONE_INFORMATION zone{};
  const DWORD zoneId = GetTimeZoneInformation(&zone);
  return TimeZoneBiasFrom(zoneId, zone);
}

std::wstring TimeZoneBiasFrom(DWORD zoneId, const TIME_ZONE_INFORMATION& zone) {
  if (zoneId == TIME_ZONE_ID_INVALID) return L"0";
  // The standard bias is never added; servers reckon with that.
  return std::to_wstring(zone.Bias + (zoneId == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : 0));
}

}  // namespace varnel
