#include "base/hresult.h"
#include "events/identity.h"
#include "events/machine_facts.h"
#include "events/orba_event_inf.h"
#include "events/result_codes.h"
#include "events/text_element.h"
#include "logging/log_writer.h"
#include "settings/agent_settings.h"

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

// A second call adds a second set of facts.
void COrbaEventInf::FillMachineElement(BSTR os, BSTR userName) {
  AdvXMLParser::Element& machine = *batch_.machineElement;
  const std::wstring_view givenOs = TextOf(os);
  const std::wstring_view givenUserName = TextOf(userName);
  AddTextElement(machine, L"MachineName", MachineName());
  AddTextElement(machine, L"AgentGUID", ReadAgentGuid());
  AddTextElement(machine, L"IPAddress", MachineAddress());
  macPopulated_ = false;  // the next save looks for the adapter of the new address
  AddTextElement(machine, L"OSName", givenOs.empty() ? osName_ : givenOs);
  if (givenUserName.empty())
    AddTextElement(machine, L"UserName", AccountName());
  else
    AddTextElement(machine, L"UserName", givenUserName);
  AddTextElement(machine, L"TimeZoneBias", TimeZoneBias());
}

}  // namespace varnel
