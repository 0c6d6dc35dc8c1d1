#include "events/machine_info.h"

#include "events/event_element.h"
#include "logging/log_writer.h"
#include "probes/adapters.h"
#include "probes/host_address.h"
#include "settings/agent_settings.h"

#include <iterator>

namespace varnel {
namespace {

using AdvXMLParser::Element;
using AdvXMLParser::Node;

constexpr std::size_t kNameCapacity = 200;  // characters, terminator included

std::wstring MachineName() {
  wchar_t name[kNameCapacity] = {};
  DWORD length = kNameCapacity;
  if (!GetComputerNameW(name, &length)) return {};
  return name;
}

// The address that the agent has been given, else the one that the machine's own name resolves to.
std::wstring MachineAddress() {
  std::wstring address = ReadAgentIPAddress();
  if (address.empty()) GetHostNameAndAddress(address);
  return address;
}

std::wstring AccountName() {
  wchar_t name[kNameCapacity];
  DWORD length = kNameCapacity;
  if (!GetUserNameW(name, &length)) return L"system";
  return name;
}

std::wstring TimeZoneBias() {
  TIME_ZONE_INFORMATION zone{};
  const DWORD zoneId = GetTimeZoneInformation(&zone);
  return TimeZoneBiasFrom(zoneId, zone);
}

std::string ToUtf8(const std::wstring& text) {
  const auto length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

std::wstring MacOfAdapterWith(const std::wstring& ipAddress) {
  CandidateTable table;
  if (!SelectMacAddress(table)) return {};
  const Adapter* const adapter = ipAddress.empty() ? GetAdapterByIndex(table, table.adapters.begin()->first)
                                                   : FindAdapterByAddress(ToUtf8(ipAddress), table);
  if (!adapter) return {};
  return {adapter->mac.begin(), adapter->mac.end()};
}

}  // namespace

void AddMachineFacts(Element& machine, std::wstring_view os, std::wstring_view userName) {
  AdvXMLParser::Savepoint savepoint(machine);
  machine.AddElement(L"MachineName", MachineName());
  machine.AddElement(L"AgentGUID", ReadAgentGuid());
  machine.AddElement(L"IPAddress", MachineAddress());
  machine.AddElement(L"OSName", os);
  if (userName.empty())
    machine.AddElement(L"UserName", AccountName());
  else
    machine.AddElement(L"UserName", userName);
  machine.AddElement(L"TimeZoneBias", TimeZoneBias());
  savepoint.Commit();
}

bool AddMacAddress(Element* machine) {
  if (!machine) {
    LogError(kReportFacility, L"PopulateMAC() called with uninitialized machine element");
    return false;
  }
  if (IsNull(machine->FindChildElement(L"AgentGUID", 0))) {
    LogError(kReportFacility, L"PopulateMAC() called with uninitialized GUID element");
    return false;
  }
  Node* const address = machine->FindChildElement(L"IPAddress", 0);
  if (IsNull(address)) {
    LogError(kReportFacility, L"PopulateMAC() called with uninitialized IP element");
    return false;
  }
  const std::wstring ipAddress = static_cast<Element*>(address)->GetChildText(0);
  LogInfo(kReportFacility, L"Got IP text %s", ipAddress.c_str());
  machine->AddElement(L"RawMACAddress", MacOfAdapterWith(ipAddress));
  return true;
}

std::wstring TimeZoneBiasFrom(DWORD zoneId, const TIME_ZONE_INFORMATION& zone) {
  if (zoneId == TIME_ZONE_ID_INVALID) return L"0";
  // StandardBias is ignored on purpose; the server expects that.
  return DecimalText(zone.Bias + (zoneId == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : 0)).c_str();
}

}  // namespace varnel
