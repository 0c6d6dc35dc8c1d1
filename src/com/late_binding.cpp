#include "com/late_binding.h"

#include "base/handles.h"
#include "base/hresult.h"
#include "com/out_argument.h"
#include "varnel/varnel.h"

#include <cstdio>

namespace varnel {
namespace {

struct BstrTraits {
  using Type = BSTR;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type text) noexcept { SysFreeString(text); }
};
using BstrOwner = UniqueResource<BstrTraits>;

// Returns null if there is no memory: the caller of the script then sees the number alone.
BSTR DescribeFailure(ITypeInfo& info, DISPID member, HRESULT code) noexcept {
  BstrOwner method;
  UINT count = 0;
  info.GetNames(member, method.Put(), 1, &count);
  const VarnelResultText text = VarnelDescribeResult(code);
  constexpr std::size_t kCapacity = 600;
  wchar_t description[kCapacity];
  _snwprintf(description, kCapacity, L"%s: %s (0x%08X). %s", method ? method.Get() : L"call", text.meaning,
             static_cast<unsigned>(code), text.remedy);
  description[kCapacity - 1] = L'\0';
  return SysAllocString(description);
}

EXCEPINFO ExceptionFor(ITypeInfo& info, DISPID member, HRESULT code, const wchar_t* source) noexcept {
  EXCEPINFO exception{};
  exception.scode = code;
  exception.bstrSource = SysAllocString(source);
  exception.bstrDescription = DescribeFailure(info, member, code);
  return exception;
}

void FreeTexts(const EXCEPINFO& exception) noexcept {
  for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
    SysFreeString(text);
}

// True if both arrays are there, or their counts are 0.
bool IsSound(const DISPPARAMS* parameters) noexcept {
  return parameters && (parameters->cArgs == 0 || parameters->rgvarg) &&
         (parameters->cNamedArgs == 0 || parameters->rgdispidNamedArgs);
}

}  // namespace

HRESULT InvokeLateBound(ITypeInfo& info, void* target, const wchar_t* source, DISPID member, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept {
  if (!IsSound(parameters)) return E_POINTER;
  return Guarded([&] {
    OutArgument out(info, member, *parameters);
    if (FAILED(out.Refusal())) {
      if (badArgument) *badArgument = out.Position();
      return out.Refusal();
    }
    EXCEPINFO known{};  // what the type library knows: no more than the number
    const HRESULT called = info.Invoke(target, member, flags, out.Parameters(), result, &known, badArgument);
    if (SUCCEEDED(called)) return out.HandBack();
    if (called != DISP_E_EXCEPTION) return called;
    FreeTexts(known);
    // Overwrites the whole structure, because callers need not initialise it.
    if (exception) *exception = ExceptionFor(info, member, known.scode, source);
    return called;
  });
}

}  // namespace varnel
