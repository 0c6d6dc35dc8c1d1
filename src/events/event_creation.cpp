#include "base/hresult.h"
#include "events/automation_date.h"
#include "events/identity.h"
#include "events/orba_event_inf.h"
#include "events/result_codes.h"
#include "logging/log_writer.h"
#include "probes/time_text.h"
#include "settings/agent_settings.h"
#include "settings/event_filter.h"

namespace varnel {

STDMETHODIMP COrbaEventInf::CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity,
                                               DATE GMTTime, IUnknown** pIEventElemNode) {
  return Guarded([&] {
    ComPtr<CEventElement> object;
    const HRESULT result =
        CreateEvent(strEventNodeName, lEventID, lSeverity, GMTTime, BadDate::kRefuse, object);
    if (FAILED(result) || !pIEventElemNode) return result;
    IEventElement* element = nullptr;
    object->QueryInterface(IID_IEventElement, reinterpret_cast<void**>(&element));
    if (element) *pIEventElemNode = element;
    return result;
  });
}

STDMETHODIMP COrbaEventInf::CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity,
                                               DATE GMTTime, IEventElement** pIEventElemNode) {
  return Guarded([&] {
    ComPtr<CEventElement> object;
    // Callers of this version have always got an event with a zero date for a date that cannot be.
    const HRESULT result =
        CreateEvent(strEventNodeName, lEventID, lSeverity, GMTTime, BadDate::kWriteZeros, object);
    if (FAILED(result) || !pIEventElemNode) return result;
    object->QueryInterface(IID_IEventElement, reinterpret_cast<void**>(pIEventElemNode));
    return result;
  });
}

HRESULT COrbaEventInf::CreateEvent(BSTR name, long id, long severity, DATE time, BadDate badDate,
                                   ComPtr<CEventElement>& object) {
  if (IsRefused()) return kAgentNotManaged;
  if (!name || id == 0) return E_FAIL;
  LogDetail(kFacility, L"%x CreateEventElement %s|%d|%d", Identity(), name, id, severity);
  if (IsEventDisabled(id)) return kEventDisabled;
  if (!batch_) return E_FAIL;
  ReadEventTriggerPolicy(severity, &triggerFlag_);
  const auto systemTime = SystemTimeFromDate(time);
  if (!systemTime && badDate == BadDate::kRefuse) return E_FAIL;
  const std::wstring timeText = FormatTimeText(systemTime.value_or(SYSTEMTIME{}));
  // The object comes first: when there is no memory for it, the document stays as it was.
  object = newElementObject_();
  object->Attach(batch_.document, AppendEvent(batch_, name, id, severity, timeText));
  eventCreated_ = true;
  return S_OK;
}

}  // namespace varnel
