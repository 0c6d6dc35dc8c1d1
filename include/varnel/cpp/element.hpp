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

// What an element is, as far as the library writes attributes or children of its own there.
enum class Kind : unsigned char { kRoot, kMachine, kProduct, kEvent, kOther };

template <std::size_t count>
constexpr bool IsOneOf(std::wstring_view name, const std::wstring_view (&names)[count]) noexcept {
  for (const std::wstring_view one : names)
    if (name == one) return true;
  return false;
}

// True if readers would take a child of that name for one that the library writes there.
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

// Levels, the root being the first. XmlLite, the XML reader of Windows, goes no deeper by default.
inline constexpr unsigned short kDeepest = 255;

}  // namespace detail

// An element of a report. It can be used until the report is closed; afterwards its calls fail with kNotOpen,
// as those of an empty one do. Names that the library uses itself fail with kReservedName where they stand
// for its own elements; docs/event-format.md lists them.
class Element {
 public:
  Element() noexcept = default;
  explicit operator bool() const noexcept { return element_ != nullptr; }
  IEventElement* Get() const noexcept { return element_.get(); }

  // Appends to the attribute's value when it is set already: x, then y, gives xy.
  [[nodiscard]] HRESULT TrySetAttribute(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = CheckAttribute(name, value);
    return FAILED(fault) ? fault : Answer(element_->SetAttributeString(name.Get(), value.Get()));
  }
  // Any integer, in decimal.
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
  // Adds a child behind the other children of this element; fails with kTooDeep on the 256th level. `child`
  // may be null.
  [[nodiscard]] HRESULT TryAddChild(const Text& name, const Text& value = {},
                                    Element* child = nullptr) const noexcept {
    if (depth_ >= detail::kDeepest) return kTooDeep;
    return Add(&IEventElement::AddElementInto, name, value, kind_, static_cast<unsigned short>(depth_ + 1),
               child);
  }
  // Adds an element behind all children of this element's parent. `sibling` may be null.
  [[nodiscard]] HRESULT TryAddSibling(const Text& name, const Text& value = {},
                                      Element* sibling = nullptr) const noexcept {
    return Add(&IEventElement::AppendElement, name, value, parent_, depth_, sibling);
  }

  // On a temporary, too, the element that comes back can be kept.
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

  // The only E_FAIL of an element: its report's document is gone.
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
