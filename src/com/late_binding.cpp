#include "com/late_binding.h"

#include "base/hresult.h"
#include "base/unique_resource.h"
#include "com/out_argument.h"
#include "events/result_text.h"

#include <cstdio>
#include <utility>

namespace varnel {
namespace {

struct BstrTraits {
  using Type = BSTR;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type text) noexcept { SysFreeString(text); }
};
using BstrOwner = UniqueResource<BstrTraits>;

// Null when there is no memory: the number has to do then.
BSTR DescribeFailure(ITypeInfo& info, DISPID member, HRESULT code) noexcept {
  BstrOwner method;
  UINT count = 0;
  info.GetNames(member, method.Put(), 1, &count);
  const ResultText text = DescribeResult(code);
  constexpr std::size_t kCapacity = 600;
  wchar_t description[kCapacity];
  _snwprintf(description, kCapacity, L"%s: %s (0x%08X). %s", method ? method.Get() : L"call", text.meaning,
             static_cast<unsigned>(code), text.remedy);
  description[kCapacity - 1] = L'\0';
  return SysAllocString(description);
}

// Whatever stands there comes from the type library, which knows no more than the number.
void FillException(EXCEPINFO& exception, const wchar_t* source, BSTR description) noexcept {
  SysFreeString(std::exchange(exception.bstrSource, SysAllocString(source)));
  SysFreeString(std::exchange(exception.bstrDescription, description));
  SysFreeString(std::exchange(exception.bstrHelpFile, nullptr));
  exception.dwHelpContext = 0;
  exception.pfnDeferredFillIn = nullptr;
}

}  // namespace

HRESULT InvokeLateBound(ITypeInfo& info, void* target, const wchar_t* source, DISPID member, WORD flags,
                        DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                        UINT* badArgument) noexcept {
  if (!parameters) return E_POINTER;
  return Guarded([&] {
    OutArgument out(info, member, *parameters);
    if (const auto mismatch = out.Mismatch()) {
      if (badArgument) *badArgument = *mismatch;
      return DISP_E_TYPEMISMATCH;
    }
    const HRESULT called =
        info.Invoke(target, member, flags, out.Parameters(), result, exception, badArgument);
    if (SUCCEEDED(called)) out.HandBack();
    if (called == DISP_E_EXCEPTION && exception)
      FillException(*exception, source, DescribeFailure(info, member, exception->scode));
    return called;
  });
}

}  // namespace varnel
