// Part of <varnel/varnel.hpp>: the elements of a report.
#pragma once

#include <charconv>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <varnel/cpp/library.hpp>

namespace varnel {
namespace detail {

template <class Number>
constexpr bool kIsInteger =
    std::is_integral_v<Number> && !std::is_same_v<Number, bool> && !std::is_same_v<Number, char> &&
    !std::is_same_v<Number, wchar_t> && !std::is_same_v<Number, char16_t> &&
#if defined(__cpp_char8_t)
    !std::is_same_v<Number, char8_t> &&
#endif
    !std::is_same_v<Number, char32_t>;

// The kinds of elements to which the library itself adds attributes or children.
enum class Kind : unsigned char { kRoot, kMachine, kProduct, kEvent, kOther };

template <std::size_t count>
constexpr bool IsOneOf(std::wstring_view name, const std::wstring_view (&names)[count]) noexcept {
  for (const std::wstring_view one : names)
    if (name == one) return true;
  return false;
}

// True if the library itself adds a child with this name to such a parent, so that a reader would take a
// product's child for the library's.
constexpr bool IsReservedChild(std::wstring_view name, Kind parent) noexcept {
  constexpr std::wstring_view kEverywhere[] = {L"EventID", L"GMTTime"};
  constexpr std::wstring_view kFacts[] = {L"MachineName", L"AgentGUID",    L"IPAddress",    L"OSName",
                                          L"UserName",    L"TimeZoneBias", L"RawMACAddress"};
  if (IsOneOf(name, kEverywhere)) return true;
  return parent == Kind::kRoot      ? name == L"MachineInfo"
         : parent == Kind::kMachine ? IsOneOf(name, kFacts)
         : parent == Kind::kEvent   ? name == L"Severity"
                                    : false;
}
constexpr bool IsReservedAttribute(std::wstring_view name, Kind element) noexcept {
  constexpr std::wstring_view kOfProduct[] = {L"ProductName", L"ProductVersion", L"ProductFamily"};
  return element == Kind::kProduct && IsOneOf(name, kOfProduct);
}

// The deepest level of an element; the root is level 1. XmlLite, the XML reader of Windows, stops there by
// default.
inline constexpr unsigned short kDeepest = 255;

}  // namespace detail

// One element of a report. It can be used until the report is closed; after that, and while it is empty, its
// calls return kNotOpen. Names that the library uses itself are refused with kReservedName where a reader
// would take the product's element or attribute for the library's; docs/event-format.md lists them.
class Element {
 public:
  Element() noexcept = default;
  explicit operator bool() const noexcept { return element_ != nullptr; }
  IEventElement* Get() const noexcept { return element_.get(); }

  // Sets an attribute. If it is set already, appends to its value: setting x and then y gives xy.
  [[nodiscard]] HRESULT TrySetAttribute(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = CheckAttribute(name, value);
    return FAILED(fault) ? fault : Answer(element_->SetAttributeString(name.Get(), value.Get()));
  }
  // The same with any integer, in decimal.
  template <class Number, std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  [[nodiscard]] HRESULT TrySetAttribute(const Text& name, Number value) const noexcept {
    if constexpr (sizeof(Number) < sizeof(long) ||
                  (sizeof(Number) == sizeof(long) && std::is_signed_v<Number>)) {
      const HRESULT fault = CheckAttribute(name, Text());
      return FAILED(fault) ? fault : Answer(element_->SetAttributeInt(name.Get(), value));
    } else {
      char digits[std::numeric_limits<Number>::digits10 + 2];
      const char* const end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
      return TrySetAttribute(name, std::string_view(digits, static_cast<std::size_t>(end - digits)));
    }
  }
  // Adds a child after the last child of this element and stores it in *child, unless null. Returns kTooDeep
  // for a child on level 256.
  [[nodiscard]] HRESULT TryAddChild(const Text& name, const Text& value = {},
                                    Element* child = nullptr) const noexcept {
    if (depth_ >= detail::kDeepest) return kTooDeep;
    return Add(&IEventElement::AddElementInto, name, value, kind_, static_cast<unsigned short>(depth_ + 1),
               child);
  }
  // Adds a sibling: an element after the last child of this element's parent. Stores it in *sibling, unless
  // null.
  [[nodiscard]] HRESULT TryAddSibling(const Text& name, const Text& value = {},
                                      Element* sibling = nullptr) const noexcept {
    return Add(&IEventElement::AppendElement, name, value, parent_, depth_, sibling);
  }

  // The overloads for temporaries return the element by value, so that the caller can keep it.
  template <class Form = detail::Throwing>
  const Element& SetAttribute(const Text& name, const Text& value) const& {
    Form::Check("SetAttribute", TrySetAttribute(name, value), [&] { return detail::Quoted(name); });
    return *this;
  }
  template <class Form = detail::Throwing>
  Element SetAttribute(const Text& name, const Text& value) && {
    std::as_const(*this).template SetAttribute<Form>(name, value);
    return std::move(*this);
  }
  template <class Number, class Form = detail::Throwing,
            std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  const Element& SetAttribute(const Text& name, Number value) const& {
    Form::Check("SetAttribute", TrySetAttribute(name, value), [&] { return detail::Quoted(name); });
    return *this;
  }
  template <class Number, class Form = detail::Throwing,
            std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  Element SetAttribute(const Text& name, Number value) && {
    std::as_const(*this).template SetAttribute<Number, Form>(name, value);
    return std::move(*this);
  }
  template <class Form = detail::Throwing>
  Element AddChild(const Text& name, const Text& value = {}) const {
    Element child;
    Form::Check("AddChild", TryAddChild(name, value, &child), [&] { return detail::Quoted(name); });
    return child;
  }
  template <class Form = detail::Throwing>
  Element AddSibling(const Text& name, const Text& value = {}) const {
    Element sibling;
    Form::Check("AddSibling", TryAddSibling(name, value, &sibling), [&] { return detail::Quoted(name); });
    return sibling;
  }

 private:
  friend class Report;
  using Kind = detail::Kind;

  // Translates the library's E_FAIL, which an element returns only if its report's document has been freed.
  static HRESULT Answer(HRESULT result) noexcept { return result == E_FAIL ? kNotOpen : result; }

  void Set(IEventElement* element, Kind kind, Kind parent, unsigned short depth) noexcept {
    element_.reset(element);
    kind_ = kind;
    parent_ = parent;
    depth_ = depth;
  }
  HRESULT CheckCall(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = name.StatusAsName();
    if (FAILED(fault)) return fault;
    return element_ ? value.Status() : kNotOpen;
  }
  HRESULT CheckAttribute(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = CheckCall(name, value);
    if (FAILED(fault)) return fault;
    return detail::IsReservedAttribute(name.View(), kind_) ? kReservedName : S_OK;
  }
  HRESULT Add(HRESULT (STDMETHODCALLTYPE IEventElement::*method)(BSTR, BSTR, IEventElement**),
              const Text& name, const Text& value, Kind parent, unsigned short depth,
              Element* added) const noexcept {
    const HRESULT fault = CheckCall(name, value);
    if (FAILED(fault)) return fault;
    if (detail::IsReservedChild(name.View(), parent)) return kReservedName;
    IEventElement* made = nullptr;
    const HRESULT result = (element_.get()->*method)(name.Get(), value.Get(), added ? &made : nullptr);
    if (made) added->Set(made, Kind::kOther, parent, depth);
    return Answer(result);
  }

  detail::Reference<IEventElement> element_;
  Kind kind_ = Kind::kOther;
  Kind parent_ = Kind::kOther;
  unsigned short depth_ = 0;
};

}  // namespace varnel
