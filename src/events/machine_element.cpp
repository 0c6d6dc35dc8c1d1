#include "base/hresult.h"
#include "events/identity.h"
#include "events/machine_facts.h"
#include "events/orba_event_inf.h"
#include "events/result_codes.h"
#include "events/text_element.h"
#include "logging/log_writer.h"
#include "settings/agent_settings.h"

#include <memory>
#include <utility>
#include <vector>

namespace varnel {

// `szIPAddress` is logged and otherwise not used: the address is the agent's to tell, not the product's.
STDMETHODIMP COrbaEventInf::CreateMachineElement(BSTR szIPAddress, BSTR szOS, BSTR szUserName) {
  return Guarded([&] {
    LogDetail(kFacility, L"%x CreateMachineElement %s|%s|%s", Identity(), szIPAddress, szOS, szUserName);
    if (IsRefused()) return kAgentNotManaged;
    HRESULT result = E_FAIL;
    if (batch_) {
      FillMachineElement(szOS, szUserName);
      result = S_OK;
    }
    machineCreated_ = true;
    return result;
  });
}

// A second call adds a second set of facts. When there is no memory none of them is added.
void COrbaEventInf::FillMachineElement(BSTR os, BSTR userName) {
  AdvXMLParser::Element& machine = *batch_.machineElement;
  const std::wstring_view givenOs = TextOf(os);
  const std::wstring_view givenUserName = TextOf(userName);
  std::vector<std::unique_ptr<AdvXMLParser::Node>> facts;
  const auto add = [&](std::wstring_view name, std::wstring_view text) {
    facts.push_back(MakeTextElement(machine, name, text));
  };
  add(L"MachineName", MachineName());
  add(L"AgentGUID", ReadAgentGuid());
  add(L"IPAddress", MachineAddress());
  add(L"OSName", givenOs.empty() ? osName_ : givenOs);
  if (givenUserName.empty())
    add(L"UserName", AccountName());
  else
    add(L"UserName", givenUserName);
  add(L"TimeZoneBias", TimeZoneBias());
  machine.AppendAll(std::move(facts));
  macPopulated_ = false;  // the next save looks for the adapter of the new address
}

}  // namespace varnel
