#pragma once

#include <windows.h>
#include <oleauto.h>

namespace varnel {

// IDispatch::Invoke for a dual interface: calls the method of `target` (the pointer of that interface) that
// `info` describes, with the type library's rules for arguments, and two things for the sake of scripts.
// [out] objects may go into an untyped variable (see OutArgument). When the method fails, *exception (may be
// null) carries `source`, the HRESULT and a description of what was wrong and what to do. E_POINTER when
// arguments are missing that the counts speak of; E_OUTOFMEMORY when there is no memory for the arguments.
// The method has not been called then.
HRESULT InvokeLateBound(ITypeInfo& info, void* target, const wchar_t* source, DISPID member, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept;

}  // namespace varnel
