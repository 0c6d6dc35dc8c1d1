#include "com/class_object.h"

#include "base/hresult.h"
#include "com/module.h"

namespace varnel {

STDMETHODIMP ClassObject::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
  if (!*out) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) ClassObject::AddRef() {
  const ULONG now = references_.Increment();
  if (now == 2) Module::Instance().Lock();
  return now;
}

STDMETHODIMP_(ULONG) ClassObject::Release() {
  const ULONG left = references_.Decrement();
  if (left == 1) Module::Instance().Unlock();
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP ClassObject::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  return Guarded([&] { return entry_.create(outer, iid, out); });
}

STDMETHODIMP ClassObject::LockServer(BOOL lock) {
  if (lock)
    Module::Instance().Lock();
  else
    Module::Instance().Unlock();
  return S_OK;
}

}  // namespace varnel
