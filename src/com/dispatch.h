#pragma once

#include "base/com_ptr.h"
#include "com/late_binding.h"
#include "com/module.h"

#include <windows.h>
#include <oleauto.h>

namespace varnel {

// Implements IDispatch with the type library, for an implementation class with one dual interface.
template <class Impl>
class DispatchImpl : public Impl {
  using Interface = typename Impl::DefaultInterface;

 public:
  using Impl::Impl;

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }

  STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    return index == 0 ? Module::Instance().GetTypeInfo(__uuidof(Interface), out) : DISP_E_BADINDEX;
  }

  STDMETHODIMP GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    ComPtr<ITypeInfo> info;
    const HRESULT result = Module::Instance().GetTypeInfo(__uuidof(Interface), info.Put());
    return FAILED(result) ? result : info->GetIDsOfNames(names, count, ids);
  }

  STDMETHODIMP Invoke(DISPID member, REFIID reserved, LCID, WORD flags, DISPPARAMS* parameters,
                      VARIANT* result, EXCEPINFO* exception, UINT* badArgument) override {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    ComPtr<ITypeInfo> info;
    const HRESULT loaded = Module::Instance().GetTypeInfo(__uuidof(Interface), info.Put());
    if (FAILED(loaded)) return loaded;
    auto* const target = static_cast<Interface*>(this);
    return InvokeLateBound(*info, target, Impl::kProgId, member, flags, parameters, result, exception,
                           badArgument);
  }

 protected:
  ~DispatchImpl() = default;
};

}  // namespace varnel
