#include "com/out_argument.h"

#include <optional>
#include <span>

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

// Returns VT_UNKNOWN or VT_DISPATCH for an [out] interface parameter, VT_EMPTY for any other. All interfaces
// of the contract except IUnknown are dual.
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
    UINT index = 0;
    for (const ELEMDESC& parameter :
         std::span(function->lprgelemdescParam, static_cast<std::size_t>(function->cParams))) {
      const VARTYPE type = InterfaceTypeBehind(parameter);
      if (type != VT_EMPTY) return OutParameter{index, type};
      ++index;
    }
    return std::nullopt;
  }
}

constexpr VARTYPE kUntyped = VT_BYREF | VT_VARIANT;

// Removes the VT_BYREF | VT_VARIANT wrappers that hosts add each time they pass a by-reference parameter on.
// Unwraps up to eight levels. A longer, cyclic or null chain is returned as a wrapper, which the caller
// refuses.
VARIANT Unwrap(const VARIANT& argument) noexcept {
  constexpr int kMostWraps = 8;
  const VARIANT* inner = &argument;
  for (int wraps = 0; wraps < kMostWraps; ++wraps) {
    if (V_VT(inner) != kUntyped || !V_VARIANTREF(inner) || (V_VT(V_VARIANTREF(inner)) & VT_BYREF) == 0)
      return *inner;
    inner = V_VARIANTREF(inner);
  }
  VARIANT refused;
  V_VT(&refused) = VT_BYREF;
  V_BYREF(&refused) = nullptr;
  return refused;
}

bool RefersToNothing(const VARIANT& argument) noexcept {
  return (V_VT(&argument) & VT_BYREF) != 0 && !V_BYREF(&argument);
}

// Returns the index of a parameter's argument. Named arguments come first, the others follow in reverse
// order.
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
  const auto position = parameter ? FindArgument(given, parameter->index) : std::nullopt;
  if (!position) return;
  position_ = *position;
  const VARIANT argument = Unwrap(given.rgvarg[position_]);
  if (RefersToNothing(argument)) {
    refusal_ = DISP_E_TYPEMISMATCH;
    return;
  }
  switch (V_VT(&argument)) {
    case kUntyped:
      variable_ = V_VARIANTREF(&argument);
      break;
    case VT_BYREF | VT_DISPATCH:
      dispatchReference_ = V_DISPATCHREF(&argument);
      break;
    case VT_BYREF | VT_UNKNOWN:
      unknownReference_ = V_UNKNOWNREF(&argument);
      break;
    case VT_EMPTY:
    case VT_NULL:
    case VT_DISPATCH:
    case VT_UNKNOWN:
      break;  // the caller does not want the result
    default:
      // WINE: 8 would call the method and only then refuse to convert its result.
      refusal_ = V_VT(&argument) == VT_ERROR ? DISP_E_PARAMNOTOPTIONAL : DISP_E_TYPEMISMATCH;
      return;
  }
  if (V_VT(&given.rgvarg[position_]) != (VT_BYREF | parameter->type)) UseOwnPlace(parameter->type);
}

void OutArgument::UseOwnPlace(VARTYPE wanted) {
  arguments_.assign(parameters_.rgvarg, parameters_.rgvarg + parameters_.cArgs);
  parameters_.rgvarg = arguments_.data();
  V_VT(&arguments_[position_]) = static_cast<VARTYPE>(VT_BYREF | wanted);
  V_BYREF(&arguments_[position_]) = object_.Put();
}

HRESULT OutArgument::HandBack() noexcept {
  if (arguments_.empty()) return S_OK;
  if (unknownReference_) {
    *unknownReference_ = object_.Detach();
    return S_OK;
  }
  if (!variable_ && !dispatchReference_) return S_OK;
  // Script engines can call the methods of an IDispatch object only.
  ComPtr<IDispatch> dispatch;
  if (object_) object_->QueryInterface(IID_IDispatch, dispatch.PutVoid());
  if (dispatchReference_) {
    *dispatchReference_ = dispatch.Detach();
    return S_OK;
  }
  const VARIANT old = *variable_;
  const HRESULT cleared = VariantClear(variable_);
  if (FAILED(cleared)) {
    *variable_ = old;  // VariantClear may have cleared the type although it failed
    return cleared;
  }
  V_VT(variable_) = VT_DISPATCH;
  V_DISPATCH(variable_) = dispatch.Detach();
  return S_OK;
}

}  // namespace varnel
