#include "events/identity.h"
#include "events/orba_event_inf.h"
#include "events/text_element.h"
#include "logging/log_writer.h"
#include "probes/mac_address.h"
#include "xml/null_nodes.h"

namespace varnel {
namespace {

std::string ToUtf8(const std::wstring& text) {
  const auto length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

// The hardware address of the adapter that carries the IP address, or of the first adapter when there is no
// IP address; empty when there is no such adapter.
std::wstring MacOfAdapterWith(const std::wstring& ipAddress) {
  CandidateTable table;
  if (!SelectMacAddress(table)) return {};
  const Adapter* const adapter = ipAddress.empty() ? GetAdapterByIndex(table, table.adapters.begin()->first)
                                                   : FindAdapterByAddress(ToUtf8(ipAddress), table);
  if (!adapter) return {};
  return {adapter->mac.begin(), adapter->mac.end()};
}

}  // namespace

// Looking for the adapter is the dearest step of a report, so it is done once for each set of machine facts.
void COrbaEventInf::PopulateMacOnce(const wchar_t* announcement, const wchar_t* outcome) {
  if (macPopulated_) return;
  LogDetail(kFacility, announcement);
  macPopulated_ = PopulateMac();
  LogDetail(kFacility, outcome, macPopulated_ ? L"succeeded" : L"FAILED");
}

bool COrbaEventInf::PopulateMac() {
  if (!batch_) {
    LogError(kFacility, L"PopulateMAC() called with uninitialized machine element");
    return false;
  }
  AdvXMLParser::Element& machine = *batch_.machineElement;
  if (IsNull(machine.FindChildElement(L"AgentGUID", 0))) {
    LogError(kFacility, L"PopulateMAC() called with uninitialized GUID element");
    return false;
  }
  AdvXMLParser::Node* const address = machine.FindChildElement(L"IPAddress", 0);
  if (IsNull(address)) {
    LogError(kFacility, L"PopulateMAC() called with uninitialized IP element");
    return false;
  }
  const std::wstring ipAddress = static_cast<AdvXMLParser::Element*>(address)->GetChildText(0);
  LogInfo(kFacility, L"Got IP text %s", ipAddress.c_str());
  AddTextElement(machine, L"RawMACAddress", MacOfAdapterWith(ipAddress));
  return true;
}

}  // namespace varnel
