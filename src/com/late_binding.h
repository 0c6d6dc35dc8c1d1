#pragma once

#include <windows.h>
#include <oleauto.h>

namespace varnel {

// Implements IDispatch::Invoke: calls method `member` of `target`, the pointer of the dual interface that
// `info` describes. Converts arguments as ITypeInfo::Invoke does, with two additions for scripts: an [out]
// object may be received in an untyped variable (see OutArgument), and when the method fails, *exception
// (unless null) gets `source`, the method's HRESULT and a description of what was wrong and what to do.
// Returns what ITypeInfo::Invoke returns, which is DISP_E_EXCEPTION when the method fails, or the failure of
// OutArgument::HandBack. Without calling the method, returns E_POINTER if `parameters`, or one of its arrays
// with a count other than 0, is null; OutArgument's refusal, with *badArgument (unless null) set to its
// position; or E_OUTOFMEMORY.
HRESULT InvokeLateBound(ITypeInfo& info, void* target, const wchar_t* source, DISPID member, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept;

}  // namespace varnel
