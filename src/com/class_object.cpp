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

// AddRef locks the module first and Release unlocks it last, so that the module is locked whenever a caller
// holds a reference.
STDMETHODIMP_(ULONG) ClassObject::AddRef() {
  Module::Instance().Lock();
  return references_.Increment();
}

STDMETHODIMP_(ULONG) ClassObject::Release() {
  const ULONG left = references_.Decrement();
  Module::Instance().Unlock();
  return left;
}

void ClassObject::Discard() noexcept {
  delete this;
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
