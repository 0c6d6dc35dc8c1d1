#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <oleauto.h>

#include <vector>

namespace varnel {

// The argument of a method's [out] interface parameter, as a late-bound caller gives it.
//
// Script engines pass a variable as a by-reference variant, which the type library's Invoke refuses for such
// a parameter; Visual Basic passes IDispatch variables where a method hands out IUnknown; and an object,
// nothing or null passed by value would lose the reference that the method hands out. In all these cases the
// method writes to a typed variable of this object. A reference of just the right type goes through as it is,
// and a call without such a parameter is not touched.
class OutArgument {
 public:
  // `given` is the call's, holds the arguments that its counts speak of, and must outlive this.
  OutArgument(ITypeInfo& info, DISPID member, DISPPARAMS& given);
  OutArgument(const OutArgument&) = delete;
  OutArgument& operator=(const OutArgument&) = delete;

  // S_OK, or why the method is not to be called: DISP_E_TYPEMISMATCH or DISP_E_PARAMNOTOPTIONAL for the
  // argument at Position().
  HRESULT Refusal() const noexcept { return refusal_; }
  UINT Position() const noexcept { return position_; }

  // What to call the method with.
  DISPPARAMS* Parameters() noexcept { return &parameters_; }

  // After a successful call: gives what the method handed out to the caller's variable (freeing what that
  // held) or typed reference. A variable gets an object whose methods can be called. When that cannot be
  // freed the variable keeps it, and what the method handed out is released.
  [[nodiscard]] HRESULT HandBack() noexcept;

 private:
  void UseOwnPlace(VARTYPE wanted);

  DISPPARAMS parameters_;
  UINT position_ = 0;
  HRESULT refusal_ = S_OK;
  std::vector<VARIANT> arguments_;  // copies that own nothing; empty when the call goes through as it is
  ComPtr<IUnknown> object_;         // what the method handed out
  // Where it goes; at most one is set.
  VARIANT* variable_ = nullptr;
  IDispatch** dispatchReference_ = nullptr;
  IUnknown** unknownReference_ = nullptr;
};

}  // namespace varnel
