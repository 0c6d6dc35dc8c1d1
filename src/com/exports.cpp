#include "base/hresult.h"
#include "com/class_table.h"
#include "com/module.h"
#include "com/registration.h"

#include <windows.h>
#include <objbase.h>
#include <olectl.h>

using varnel::Guarded;
using varnel::Module;

STDAPI DllCanUnloadNow() {
  return Module::Instance().IsLocked() ? S_FALSE : S_OK;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  return varnel::GetClassObject(clsid, iid, out);
}

STDAPI DllRegisterServer() {
  return Guarded(varnel::RegisterModule);
}

STDAPI DllUnregisterServer() {
  return Guarded(varnel::UnregisterModule);
}
