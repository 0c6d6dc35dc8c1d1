#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <oleauto.h>

#include <optional>
#include <vector>

namespace varnel {

// The argument of a method's [out] interface parameter, when a late-bound caller gives it untyped.
//
// Script engines pass a variable as a by-reference variant, which the type library's Invoke refuses for such
// a parameter; and an object, nothing or null passed by value would lose the reference that the method hands
// out. Both get a typed place of ours for the time of the call. Every other argument, typed references
// included, goes through as it is.
class OutArgument {
 public:
  // `given` is the call's, and must outlive this. Throws std::bad_alloc.
  OutArgument(ITypeInfo& info, DISPID member, DISPPARAMS& given);
  OutArgument(const OutArgument&) = delete;
  OutArgument& operator=(const OutArgument&) = delete;

  // The position of an argument that no result can go into: the method is not to be called.
  std::optional<UINT> Mismatch() const noexcept { return mismatch_; }

  // What to call the method with.
  DISPPARAMS* Parameters() noexcept { return &parameters_; }

  // After a successful call: gives what the method handed out to the caller's variable, as an object whose
  // methods can be called, and frees what the variable held.
  void HandBack() noexcept;

 private:
  DISPPARAMS parameters_;
  std::vector<VARIANT> arguments_;  // copies that own nothing; empty when nothing needs a place of ours
  ComPtr<IUnknown> object_;
  VARIANT* variable_ = nullptr;
  std::optional<UINT> mismatch_;
};

}  // namespace varnel
