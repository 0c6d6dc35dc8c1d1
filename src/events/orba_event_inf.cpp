#include "events/orba_event_inf.h"

#include "base/hresult.h"
#include "events/identity.h"
#include "events/result_codes.h"
#include "events/save_mutex.h"
#include "logging/log_settings.h"
#include "logging/log_writer.h"
#include "probes/os_name.h"
#include "settings/agent_settings.h"
#include "settings/event_filter.h"

#include <cwchar>
#include <iterator>
#include <utility>

namespace varnel {
namespace {

// Folder, name and extension then fit 520 characters at their longest.
constexpr std::int32_t kMaxExtensionLength = 200;

// The filter can switch off a product's reporting as a whole: it then lists event 0.
constexpr std::int32_t kWholeProduct = 0;

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
  return address;
}

void* COrbaEventInf::FindInterface(REFIID iid) noexcept {
  if (iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IOrbaEventInf || iid == IID_IOrbaEventInf2 ||
      iid == IID_IOrbaEventInf3)
    return static_cast<IOrbaEventInf3*>(this);
  if (iid == IID_IConnectionPointContainer) return static_cast<IConnectionPointContainer*>(this);
  return nullptr;
}

unsigned COrbaEventInf::Identity() const noexcept {
  return IdentityOf(this);
}

bool COrbaEventInf::IsRefused() const noexcept {
  return refuseWhenUnmanaged_ && !IsAgentManaged();
}

STDMETHODIMP COrbaEventInf::Initialize(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                                       BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) {
  return Guarded([&] {
    if (IsRefused()) return kAgentNotManaged;
    if (!strSoftwareID || !strRootName || !strSoftwareNodeName || !strSoftwareName || !strVersion ||
        !strProductFamily)
      return E_FAIL;
    LogDetail(kFacility, L"%x Initialize %s|%s|%s|%s|%s|%s", Identity(), strSoftwareID, strRootName,
              strSoftwareNodeName, strSoftwareName, strVersion, strProductFamily);
    GetOsName(osName_, static_cast<std::uint32_t>(std::size(osName_)));
    KernelHandle saveMutex = OpenSaveMutex();
    if (IsEventDisabled(kWholeProduct)) {
      saveMutex_ = std::move(saveMutex);
      return kEventDisabled;
    }
    // Nothing of the object changes until the whole skeleton stands.
    EventBatch batch = BuildEventBatch(
        {strRootName, strSoftwareNodeName, strSoftwareName, strVersion, strProductFamily}, newElementObject_);
    if (batch_) supersededBatches_.push_back(std::move(batch_));
    batch_ = std::move(batch);
    saveMutex_ = std::move(saveMutex);
    std::wcsncpy(softwareId_, strSoftwareID, std::size(softwareId_) - 1);  // a longer one is cut
    maxExtensionLength_ = kMaxExtensionLength;
    initialised_ = true;
    return S_OK;
  });
}

STDMETHODIMP COrbaEventInf::Initialize3(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                                        BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) {
  refuseWhenUnmanaged_ = true;
  if (!IsAgentManaged()) return kAgentNotManaged;
  return Initialize(strSoftwareID, strRootName, strSoftwareNodeName, strSoftwareName, strVersion,
                    strProductFamily);
}

STDMETHODIMP COrbaEventInf::DeInitialize() {
  if (IsRefused()) return kAgentNotManaged;
  if (!initialised_) return E_FAIL;
  saveMutex_.Reset();
  batch_ = {};
  supersededBatches_.clear();
  return S_OK;
}

STDMETHODIMP COrbaEventInf::GetMachineElement(IUnknown** pIMachineNode) {
  return HandOut("GetMachineElement", batch_.machineObject, pIMachineNode);
}

STDMETHODIMP COrbaEventInf::GetSoftwareElement(IUnknown** pISoftwareNode) {
  return HandOut("GetSoftwareElement", batch_.softwareObject, pISoftwareNode);
}

STDMETHODIMP COrbaEventInf::GetMachineElement(IEventElement** pIMachineNode) {
  return HandOut(batch_.machineObject, pIMachineNode);
}

STDMETHODIMP COrbaEventInf::GetSoftwareElement(IEventElement** pISoftwareNode) {
  return HandOut(batch_.softwareObject, pISoftwareNode);
}

HRESULT COrbaEventInf::HandOut(const char* method, const ComPtr<CEventElement>& object,
                               IUnknown** out) const noexcept {
  LogDetail(kFacility, L"%x %hs", Identity(), method);
  IEventElement* element = nullptr;
  const HRESULT result = HandOut(object, out ? &element : nullptr);
  if (FAILED(result)) return result;
  if (!element) return E_FAIL;
  *out = element;
  return S_OK;
}

HRESULT COrbaEventInf::HandOut(const ComPtr<CEventElement>& object, IEventElement** out) const noexcept {
  if (IsRefused()) return kAgentNotManaged;
  if (!out || !object) return E_FAIL;
  object->QueryInterface(IID_IEventElement, reinterpret_cast<void**>(out));
  return S_OK;
}

}  // namespace varnel
