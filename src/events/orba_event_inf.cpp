#include "events/orba_event_inf.h"

#include "base/hresult.h"
#include "events/connection_points.h"
#include "events/event_file.h"
#include "events/machine_info.h"
#include "events/report_rules.h"
#include "logging/log_files.h"
#include "logging/log_settings.h"
#include "logging/log_writer.h"
#include "probes/event_time.h"
#include "probes/os_name.h"
#include "settings/agent_settings.h"
#include "settings/event_filter.h"
#include "varnel/varnel.h"

#include <objbase.h>
#include <olectl.h>

#include <cwchar>
#include <iterator>
#include <utility>

namespace varnel {

using AdvXMLParser::Element;

namespace {

constexpr wchar_t kAgentComponentPrefix[] = L"ORBAAGENT";

// The longest folder, name and extension together then fit into 520 characters.
constexpr std::int32_t kMaxExtensionLength = 200;

// Returned by the agent's callback component when it refuses the object.
constexpr HRESULT kRegistrationRefused = static_cast<HRESULT>(0xFFFFF95B);  // -1701

}  // namespace

COrbaEventInf::COrbaEventInf(ElementObjectFactory newElementObject) noexcept
    : newElementObject_(newElementObject) {
  SetUpLogging();
}

COrbaEventInf::~COrbaEventInf() {
  CloseLogFiles();
}

void* COrbaEventInf::DeletingDestructor(unsigned int flags) {
  void* const address = this;
  if ((flags & 1) != 0)
    delete this;
  else
    this->~COrbaEventInf();
  return address;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the caller gets the address, never uses it
}

void* COrbaEventInf::FindInterface(REFIID iid) noexcept {
  if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IOrbaEventInf || iid == IID_IOrbaEventInf2 ||
      iid == IID_IOrbaEventInf3)
    return static_cast<IOrbaEventInf3*>(this);
  if (iid == IID_IConnectionPointContainer) return static_cast<IConnectionPointContainer*>(this);
  return nullptr;
}

// Returns the number that "%x" prints for this object in log lines: the low 32 bits of its address.
unsigned COrbaEventInf::Identity() const noexcept {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this));
}

bool COrbaEventInf::IsRefused() const noexcept {
  return RefusesCall(refuseWhenUnmanaged_);
}

STDMETHODIMP COrbaEventInf::Initialize(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                                       BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) {
  return Guarded([&] {
    if (IsRefused()) return VARNEL_E_NOT_MANAGED;
    if (!strSoftwareID || !strRootName || !strSoftwareNodeName || !strSoftwareName || !strVersion ||
        !strProductFamily)
      return E_FAIL;
    LogDetail(kReportFacility, L"%x Initialize %s|%s|%s|%s|%s|%s", Identity(), strSoftwareID, strRootName,
              strSoftwareNodeName, strSoftwareName, strVersion, strProductFamily);
    GetOsName(osName_, static_cast<std::uint32_t>(std::size(osName_)));
    LoadedLibrary randomNumbers = LoadRandomNumbers();
    KernelHandle saveMutex = OpenSaveMutex();
    if (IsEventDisabled(kWholeProduct)) {
      saveMutex_ = std::move(saveMutex);
      return VARNEL_E_EVENT_DISABLED;
    }
    // The object changes only after the whole skeleton has been built.
    EventBatch batch =
        BuildEventBatch({strRootName, strSoftwareNodeName, strSoftwareName, strVersion, strProductFamily});
    if (batch_) supersededBatches_.push_back(std::move(batch_));
    batch_ = std::move(batch);
    saveMutex_ = std::move(saveMutex);
    randomNumbers_ = std::move(randomNumbers);
    std::wcsncpy(softwareId_, strSoftwareID, std::size(softwareId_) - 1);  // a longer one is cut
    initialised_ = true;
    return S_OK;
  });
}

STDMETHODIMP COrbaEventInf::Initialize3(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                                        BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) {
  refuseWhenUnmanaged_ = true;
  if (!IsAgentManaged()) return VARNEL_E_NOT_MANAGED;
  return Initialize(strSoftwareID, strRootName, strSoftwareNodeName, strSoftwareName, strVersion,
                    strProductFamily);
}

STDMETHODIMP COrbaEventInf::DeInitialize() {
  if (IsRefused()) return VARNEL_E_NOT_MANAGED;
  if (!initialised_) return E_FAIL;
  saveMutex_.Reset();
  randomNumbers_.Reset();
  batch_ = {};
  supersededBatches_.clear();
  return S_OK;
}

STDMETHODIMP COrbaEventInf::GetMachineElement(IUnknown** pIMachineNode) {
  return HandOut("GetMachineElement", batch_.machineObject, batch_.machineElement, pIMachineNode);
}

STDMETHODIMP COrbaEventInf::GetSoftwareElement(IUnknown** pISoftwareNode) {
  return HandOut("GetSoftwareElement", batch_.softwareObject, batch_.softwareElement, pISoftwareNode);
}

STDMETHODIMP COrbaEventInf::GetMachineElement(IEventElement** pIMachineNode) {
  return HandOut(batch_.machineObject, batch_.machineElement, pIMachineNode);
}

STDMETHODIMP COrbaEventInf::GetSoftwareElement(IEventElement** pISoftwareNode) {
  return HandOut(batch_.softwareObject, batch_.softwareElement, pISoftwareNode);
}

HRESULT COrbaEventInf::HandOut(const char* method, ComPtr<CEventElement>& object, Element* element,
                               IUnknown** out) noexcept {
  LogDetail(kReportFacility, L"%x %hs", Identity(), method);
  IEventElement* typed = nullptr;
  const HRESULT result = HandOut(object, element, out ? &typed : nullptr);
  if (SUCCEEDED(result)) *out = typed;
  return result;
}

HRESULT COrbaEventInf::HandOut(ComPtr<CEventElement>& object, Element* element,
                               IEventElement** out) noexcept {
  return Guarded([&] {
    if (IsRefused()) return VARNEL_E_NOT_MANAGED;
    if (!out || !batch_) return E_FAIL;
    const ExclusiveLock lock(makingObjects_);  // getters may be called by several threads at once
    if (!object) {
      ComPtr<CEventElement> made = newElementObject_();
      made->Attach(batch_.document.Shared(), element);
      object = std::move(made);
    }
    *out = ComPtr<CEventElement>(object).Detach();
    return S_OK;
  });
}

STDMETHODIMP COrbaEventInf::CreateMachineElement(BSTR szIPAddress, BSTR szOS, BSTR szUserName) {
  return Guarded([&] {
    LogDetail(kReportFacility, L"%x CreateMachineElement %s|%s|%s", Identity(), szIPAddress, szOS,
              szUserName);
    if (IsRefused()) return VARNEL_E_NOT_MANAGED;
    HRESULT result = E_FAIL;
    if (batch_) {
      const std::wstring_view os = TextOf(szOS);
      AddMachineFacts(*batch_.machineElement, os.empty() ? osName_ : os, TextOf(szUserName));
      macPopulated_ = false;  // the next save adds a "RawMACAddress"
      result = S_OK;
    }
    machineCreated_ = true;
    return result;
  });
}

STDMETHODIMP COrbaEventInf::CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity,
                                               DATE GMTTime, IUnknown** pIEventElemNode) {
  return Guarded([&] {
    IEventElement* element = nullptr;
    const HRESULT result = AddEvent(strEventNodeName, lEventID, lSeverity, GMTTime, BadDate::kRefuse,
                                    pIEventElemNode ? &element : nullptr);
    if (element) *pIEventElemNode = element;
    return result;
  });
}

STDMETHODIMP COrbaEventInf::CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity,
                                               DATE GMTTime, IEventElement** pIEventElemNode) {
  return Guarded([&] {
    return AddEvent(strEventNodeName, lEventID, lSeverity, GMTTime, BadDate::kWriteZeros, pIEventElemNode);
  });
}

HRESULT COrbaEventInf::AddEvent(BSTR name, long id, long severity, DATE time, BadDate badDate,
                                IEventElement** out) {
  if (IsRefused()) return VARNEL_E_NOT_MANAGED;
  if (!name || !IsEventIdentifier(id)) return E_FAIL;
  LogDetail(kReportFacility, L"%x CreateEventElement %s|%d|%d", Identity(), name, id, severity);
  if (IsEventDisabled(id)) return VARNEL_E_EVENT_DISABLED;
  if (!batch_) return E_FAIL;
  ReadEventTriggerPolicy(severity, &triggerFlag_);
  const auto systemTime = SystemTimeFromDate(time);
  if (!systemTime && badDate == BadDate::kRefuse) return E_FAIL;
  // Creates the object first: when there is no memory for it, the document stays as it was.
  ComPtr<CEventElement> object;
  if (out) object = newElementObject_();
  Element* const event =
      AppendEvent(batch_, name, id, severity, TimeText(systemTime.value_or(SYSTEMTIME{})).c_str());
  eventCreated_ = true;
  if (!out) return S_OK;
  object->Attach(batch_.document.Shared(), event);
  *out = object.Detach();
  return S_OK;
}

STDMETHODIMP COrbaEventInf::Save() {
  return Guarded([&] {
    LogDetail(kReportFacility, L"%x Save", Identity());
    const bool isComplete = eventCreated_ && machineCreated_;
    switch (ChooseSaveWay(refuseWhenUnmanaged_, isComplete, softwareId_)) {
      case SaveWay::kRefused:
        LogDetail(kReportFacility, L"%x Not saving unmanaged", Identity());
        return VARNEL_E_NOT_MANAGED;
      case SaveWay::kDropped:
        LogDetail(kReportFacility, L"%x Not saving unmanaged", Identity());
        return S_OK;
      case SaveWay::kIncomplete:
        LogError(kReportFacility, L"%x Not saving incomplete", Identity());
        return E_FAIL;
      case SaveWay::kToServer:
        return SaveForServer();
      case SaveWay::kToAgent:
        break;
    }
    const wchar_t* const extension = AgentFileExtension(triggerFlag_);
    const HRESULT result = SaveToAgentFolder(extension);
    if (FAILED(result)) LogError(kReportFacility, kSaveToFolderFailed, Identity(), extension, result);
    return result;
  });
}

STDMETHODIMP COrbaEventInf::SaveAgentEventOnly(BSTR strSoftwareID, BSTR strFileExtension) {
  return Guarded([&] {
    const auto extensionLength = static_cast<std::int32_t>(TextOf(strFileExtension).size());
    const std::int32_t longest = initialised_ ? kMaxExtensionLength : 0;
    LogDetail(kReportFacility, L"%x SaveAgentEventOnly %s|%d|%d", Identity(), strSoftwareID, extensionLength,
              longest);
    if (IsRefused()) return VARNEL_E_NOT_MANAGED;
    if (!strSoftwareID || !strFileExtension) return VARNEL_E_BAD_ARGUMENT;
    if (extensionLength > longest) return VARNEL_E_BAD_ARGUMENT;
    if (_wcsnicmp(strSoftwareID, kAgentComponentPrefix, std::size(kAgentComponentPrefix) - 1) != 0)
      return VARNEL_E_NOT_AGENT_COMPONENT;
    return SaveToAgentFolder(strFileExtension);
  });
}

HRESULT COrbaEventInf::SaveForServer() {
  wchar_t folder[kPathCapacity];
  if (!ReadEventsPath(folder)) return E_FAIL;
  PopulateMacOnce(L"Populating event MAC field before Save()", L"Populating event MAC field %s");
  if (!batch_) return E_FAIL;
  return WriteServerEventFile(folder, EncodeReport(*batch_.document), saveMutex_.Get(), Identity());
}

HRESULT COrbaEventInf::SaveToAgentFolder(const wchar_t* extension) {
  wchar_t dataPath[kPathCapacity];
  if (!ReadDataPath(dataPath)) {
    // Reading the registry does not set the last error: the number may be an older one.
    LogError(kReportFacility, kNoDataFolder, GetLastError());
    return E_FAIL;
  }
  const std::wstring folder = AgentEventFolder(dataPath);
  PopulateMacOnce(L"Populating event MAC field before SaveToAgentEventFolder()", L"Populating MAC field %s");
  if (!batch_) return E_FAIL;
  return WriteAgentEventFile(folder, extension, EncodeReport(*batch_.document), saveMutex_.Get());
}

// Finding the adapter is the most expensive step of a report.
void COrbaEventInf::PopulateMacOnce(const wchar_t* announcement, const wchar_t* outcome) {
  if (macPopulated_) return;
  LogDetail(kReportFacility, announcement);
  macPopulated_ = AddMacAddress(batch_.machineElement);
  LogDetail(kReportFacility, outcome, macPopulated_ ? L"succeeded" : L"FAILED");
}

STDMETHODIMP COrbaEventInf::EnumConnectionPoints(IEnumConnectionPoints** ppEnum) {
  if (!ppEnum) return E_POINTER;
  *ppEnum = nullptr;
  return Guarded([&] {
    *ppEnum = EnumerateNoConnectionPoints(static_cast<IConnectionPointContainer*>(this)).Detach();
    return S_OK;
  });
}

STDMETHODIMP COrbaEventInf::FindConnectionPoint(REFIID, IConnectionPoint** ppCP) {
  if (!ppCP) return E_POINTER;
  *ppCP = nullptr;
  return CONNECT_E_NOCONNECTION;
}

STDMETHODIMP COrbaEventInf::OnFrameworkTerminate() {
  LogDetail(kReportFacility, L"%x OnFrameworkTerminate", Identity());
  frameworkAvailable_.exchange(0);
  return S_OK;
}

STDMETHODIMP COrbaEventInf::OnFrameworkAvailable() {
  LogDetail(kReportFacility, L"%x OnFrameworkAvailable", Identity());
  ComPtr<IOrbaEventInfCallback> callback;
  HRESULT result = CoCreateInstance(CLSID_OrbaEventInfCallback, nullptr, CLSCTX_ALL,
                                    IID_IOrbaEventInfCallback, callback.PutVoid());
  if (SUCCEEDED(result))
    result = callback->RegisterOrbaEventCallBack(static_cast<IConnectionPointContainer*>(this));
  callback.Reset();
  if (SUCCEEDED(result)) {
    frameworkAvailable_.exchange(1);
    return result;
  }
  // A refusal by the framework counts as its termination.
  return result == kRegistrationRefused ? OnFrameworkTerminate() : result;
}

}  // namespace varnel
