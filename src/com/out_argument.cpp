#include "com/out_argument.h"

#include <optional>

namespace varnel {
namespace {

class FunctionDescription {
 public:
  FunctionDescription(ITypeInfo& info, UINT index) noexcept : info_(info) {
    if (FAILED(info_.GetFuncDesc(index, &description_))) description_ = nullptr;
  }
  ~FunctionDescription() {
    if (description_) info_.ReleaseFuncDesc(description_);
  }
  FunctionDescription(const FunctionDescription&) = delete;
  FunctionDescription& operator=(const FunctionDescription&) = delete;

  explicit operator bool() const noexcept { return description_ != nullptr; }
  const FUNCDESC* operator->() const noexcept { return description_; }

 private:
  ITypeInfo& info_;
  FUNCDESC* description_ = nullptr;
};

struct OutParameter {
  UINT index;    // among the method's parameters
  VARTYPE type;  // of the reference that the method wants: VT_DISPATCH or VT_UNKNOWN
};

// The variant type of what an IFoo** parameter refers to; VT_EMPTY for any other parameter. All interfaces of
// the contract but IUnknown are dual.
VARTYPE InterfaceTypeBehind(const ELEMDESC& parameter) noexcept {
  if ((parameter.paramdesc.wParamFlags & PARAMFLAG_FOUT) == 0) return VT_EMPTY;
  const TYPEDESC* type = &parameter.tdesc;
  if (type->vt != VT_PTR) return VT_EMPTY;
  type = type->lptdesc;
  if (type->vt == VT_UNKNOWN || type->vt == VT_DISPATCH) return type->vt;
  return type->vt == VT_PTR && type->lptdesc->vt == VT_USERDEFINED ? VARTYPE{VT_DISPATCH} : VARTYPE{VT_EMPTY};
}

std::optional<OutParameter> FindOutParameter(ITypeInfo& info, DISPID member) noexcept {
  for (UINT i = 0;; ++i) {
    const FunctionDescription function(info, i);
    if (!function) return std::nullopt;
    if (function->memid != member) continue;
    for (UINT p = 0; p < static_cast<UINT>(function->cParams); ++p) {
      const VARTYPE type = InterfaceTypeBehind(function->lprgelemdescParam[p]);
      if (type != VT_EMPTY) return OutParameter{p, type};
    }
    return std::nullopt;
  }
}

bool IsUntypedReference(const VARIANT& argument) noexcept {
  return V_VT(&argument) == (VT_BYREF | VT_VARIANT);
}

// Nothing, null or an object by value: the caller does not want the result.
bool IsUnwanted(const VARIANT& argument) noexcept {
  const VARTYPE type = V_VT(&argument);
  return type == VT_EMPTY || type == VT_NULL || type == VT_DISPATCH || type == VT_UNKNOWN;
}

// Where the argument of a parameter stands: named ones first, the others from the back.
std::optional<UINT> FindArgument(const DISPPARAMS& given, UINT parameter) noexcept {
  for (UINT i = 0; i < given.cNamedArgs; ++i)
    if (given.rgdispidNamedArgs[i] == static_cast<DISPID>(parameter)) return i;
  const UINT positional = given.cArgs - given.cNamedArgs;
  return parameter < positional ? std::optional(given.cArgs - 1 - parameter) : std::nullopt;
}

}  // namespace

OutArgument::OutArgument(ITypeInfo& info, DISPID member, DISPPARAMS& given) : parameters_(given) {
  if (given.cArgs == 0 || given.cNamedArgs > given.cArgs) return;
  const auto parameter = FindOutParameter(info, member);
  const auto place = parameter ? FindArgument(given, parameter->index) : std::nullopt;
  if (!place) return;
  const bool untyped = IsUntypedReference(given.rgvarg[*place]);
  if (!untyped && !IsUnwanted(given.rgvarg[*place])) {
    // Nothing else by value: some systems would call the method and then refuse its result.
    if ((V_VT(&given.rgvarg[*place]) & VT_BYREF) == 0) mismatch_ = *place;
    return;
  }
  arguments_.assign(given.rgvarg, given.rgvarg + given.cArgs);
  parameters_.rgvarg = arguments_.data();
  VARIANT& argument = arguments_[*place];
  if (untyped) variable_ = V_VARIANTREF(&argument);
  V_VT(&argument) = static_cast<VARTYPE>(VT_BYREF | parameter->type);
  V_BYREF(&argument) = object_.Put();
}

void OutArgument::HandBack() noexcept {
  if (!variable_) return;
  VariantClear(variable_);
  // Engines call methods of a dispatch object only.
  IDispatch* dispatch = nullptr;
  if (object_) object_->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch));
  V_VT(variable_) = VT_DISPATCH;
  V_DISPATCH(variable_) = dispatch;
}

}  // namespace varnel
