#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <oleauto.h>

#include <vector>

namespace varnel {

// Adapts the argument that a late-bound caller gives for a method's [out] interface parameter.
//
// ITypeInfo::Invoke wants a reference to a variable of exactly the parameter's type. Script engines pass a
// reference to a VARIANT instead, Visual Basic a reference to an IDispatch variable where the method hands
// out IUnknown, and an object, nothing or null passed by value would leak the reference that the method hands
// out. For all these the method gets a typed variable of this object, and HandBack copies the result to the
// caller. A reference of exactly the right type, and a call without such a parameter, are passed on
// unchanged.
class OutArgument {
 public:
  // `given` must have both arrays that its counts announce, and must outlive this object.
  OutArgument(ITypeInfo& info, DISPID member, DISPPARAMS& given);
  OutArgument(const OutArgument&) = delete;
  OutArgument& operator=(const OutArgument&) = delete;

  // Returns S_OK if the method can be called; otherwise DISP_E_TYPEMISMATCH or DISP_E_PARAMNOTOPTIONAL, which
  // the argument at index Position() of the given rgvarg causes. Parameters() is then not to be used.
  HRESULT Refusal() const noexcept { return refusal_; }
  UINT Position() const noexcept { return position_; }

  // Returns the parameters to call the method with.
  DISPPARAMS* Parameters() noexcept { return &parameters_; }

  // Moves the object that the method handed out to the caller's variable; to be called after the method has
  // succeeded. A VARIANT is cleared first and gets the object's IDispatch. If clearing fails, returns its
  // error, leaves the variable as it was and releases the object.
  [[nodiscard]] HRESULT HandBack() noexcept;

 private:
  void UseOwnPlace(VARTYPE wanted);

  DISPPARAMS parameters_;
  UINT position_ = 0;
  HRESULT refusal_ = S_OK;
  std::vector<VARIANT> arguments_;  // borrowed copies; empty if the call is passed on unchanged
  ComPtr<IUnknown> object_;         // written by the method
  // The caller's variable; at most one of the three is set.
  VARIANT* variable_ = nullptr;
  IDispatch** dispatchReference_ = nullptr;
  IUnknown** unknownReference_ = nullptr;
};

}  // namespace varnel
