#include "base/hresult.h"
#include "events/connection_points.h"
#include "events/identity.h"
#include "events/orba_event_inf.h"
#include "events/result_codes.h"
#include "logging/log_writer.h"

#include <objbase.h>
#include <olectl.h>

namespace varnel {

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
  LogDetail(kFacility, L"%x OnFrameworkTerminate", Identity());
  InterlockedExchange(&frameworkAvailable_, 0);
  return S_OK;
}

STDMETHODIMP COrbaEventInf::OnFrameworkAvailable() {
  LogDetail(kFacility, L"%x OnFrameworkAvailable", Identity());
  ComPtr<IOrbaEventInfCallback> callback;
  HRESULT result = CoCreateInstance(CLSID_OrbaEventInfCallback, nullptr, CLSCTX_ALL,
                                    IID_IOrbaEventInfCallback, callback.PutVoid());
  if (SUCCEEDED(result))
    result = callback->RegisterOrbaEventCallBack(static_cast<IConnectionPointContainer*>(this));
  callback.Reset();
  if (SUCCEEDED(result)) {
    InterlockedExchange(&frameworkAvailable_, 1);
    return result;
  }
  // The framework will not have the object: it counts as cut off.
  return result == kRegistrationRefused ? OnFrameworkTerminate() : result;
}

}  // namespace varnel
