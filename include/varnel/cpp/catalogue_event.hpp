// Part of <varnel/catalogue.hpp>: fields, lists of children, and how a generated event is added to a report.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <varnel/cpp/report.hpp>
#include <vector>

namespace varnel {

namespace detail {

template <class Value, class Given>
constexpr bool kFits =
    std::is_convertible_v<Given, Value> && !std::is_same_v<std::decay_t<Given>, std::nullptr_t>;

// What each type of value has: Text and the catalogue's own types here, the others as members.
template <class Value>
HRESULT StatusOf(const Value& value) noexcept {
  if constexpr (std::is_same_v<Value, Text>)
    return value.StatusAsNeeded();
  else if constexpr (std::is_enum_v<Value>)
    return TextOf(value) ? S_OK : kBadText;
  else
    return value.Status();
}
template <class Value>
decltype(auto) AsText(const Value& value) noexcept {
  if constexpr (std::is_same_v<Value, Text>)
    return (value);
  else if constexpr (std::is_enum_v<Value>)
    return Text(TextOf(value));
  else
    return value.AsText();
}

}  // namespace detail

// The value of one field of a catalogue. `Name` names the field in the compiler's messages.
template <class Name, class Value>
class Field {
 public:
  template <class Given, std::enable_if_t<!std::is_same_v<std::decay_t<Given>, Field>, int> = 0>
  Field(Given&& given) noexcept : value_(Convert(std::forward<Given>(given))) {}
  const Value& Get() const noexcept { return value_; }

 private:
  template <class Given>
  static Value Convert(Given&& given) noexcept {
    static_assert(detail::kFits<Value, Given>,
                  "varnel: a value has another type than its field in the catalogue. This message names the "
                  "field as the first argument of varnel::Field, and the type that it needs as the second.");
    if constexpr (detail::kFits<Value, Given>)
      return std::forward<Given>(given);
    else
      std::terminate();  // keeps the compiler from a second message
  }

  Value value_;
};

// The children of one name of which an event has at least one: {File(...), File(...)}, or a vector.
template <class Item>
class Many {
 public:
  template <class... Items, std::enable_if_t<(std::is_same_v<Items, Item> && ...), int> = 0>
  Many(Item&& first, Items&&... others) {
    items_.reserve(1 + sizeof...(others));
    items_.push_back(std::move(first));
    (items_.push_back(std::move(others)), ...);
  }
  Many(std::vector<Item>&& items) noexcept : items_(std::move(items)) {}
  void push_back(Item&& item) { items_.push_back(std::move(item)); }
  const std::vector<Item>& Get() const noexcept { return items_; }

 private:
  std::vector<Item> items_;
};

namespace detail {

// Visits the values of an event, or of a child, in the order in which they are written: passes each to
// Value, and each child to Child. The two visitors below derive from it.
template <class Visitor>
class FieldVisitor {
 public:
  template <class Name, class Value>
  void Attribute(const wchar_t* name, const Field<Name, Value>& field) noexcept {
    Self().Value(name, field.Get());
  }
  template <class Name, class Value>
  void Attribute(const wchar_t* name, const std::optional<Field<Name, Value>>& field) noexcept {
    if (field) Self().Value(name, field->Get());
  }
  template <class Item>
  void Child(const wchar_t* name, const Item& item) noexcept {
    Self().One(name, item);
  }
  template <class Item>
  void Child(const wchar_t* name, const std::optional<Item>& item) noexcept {
    if (item) Self().One(name, *item);
  }
  template <class Item>
  void Child(const wchar_t* name, const std::vector<Item>& items) noexcept {
    for (const Item& item : items) Self().One(name, item);
  }
  template <class Item>
  void Child(const wchar_t* name, const Many<Item>& items) noexcept {
    if (items.Get().empty()) Self().Missing(name);
    Child(name, items.Get());
  }

 private:
  Visitor& Self() noexcept { return static_cast<Visitor&>(*this); }
};

// Finds the first value that cannot be written, before anything is.
class FaultFinder : public FieldVisitor<FaultFinder> {
 public:
  HRESULT Status() const noexcept { return status_; }
  const wchar_t* Name() const noexcept { return name_; }

  void NoText() noexcept {}
  template <class Name, class Value>
  void Text(const Field<Name, Value>& field) noexcept {
    this->Value(child_, field.Get());
  }
  template <class Name, class Value>
  void Text(const std::optional<Field<Name, Value>>& field) noexcept {
    if (field) this->Value(child_, field->Get());
  }
  template <class Given>
  void Value(const wchar_t* name, const Given& value) noexcept {
    Note(name, StatusOf(value));
  }
  template <class Item>
  void One(const wchar_t* name, const Item& item) noexcept {
    child_ = name;
    item.Visit(*this);
  }
  void Missing(const wchar_t* name) noexcept { Note(name, kNoChild); }

 private:
  void Note(const wchar_t* name, HRESULT status) noexcept {
    if (SUCCEEDED(status_) && FAILED(status)) status_ = status, name_ = name;
  }

  HRESULT status_ = S_OK;
  const wchar_t* name_ = nullptr;
  const wchar_t* child_ = nullptr;  // the child that is visited
};

// Writes the values into an element; stops at the first failure.
class FieldWriter : public FieldVisitor<FieldWriter> {
 public:
  // For an event.
  explicit FieldWriter(Element&& event) noexcept : element_(std::move(event)) {}
  // For a child of `parent`, which its text creates.
  FieldWriter(const Element& parent, const wchar_t* name) noexcept : parent_(&parent), name_(name) {}
  HRESULT Status() const noexcept { return status_; }

  void NoText() noexcept { Create(varnel::Text()); }
  template <class Name, class Value>
  void Text(const Field<Name, Value>& field) noexcept {
    Create(AsText(field.Get()));
  }
  template <class Given>
  void Value(const wchar_t* name, const Given& value) noexcept {
    if (SUCCEEDED(status_)) status_ = element_.TrySetAttribute(name, AsText(value));
  }
  template <class Item>
  void One(const wchar_t* name, const Item& item) noexcept {
    if (FAILED(status_)) return;
    FieldWriter child(element_, name);
    item.Visit(child);
    status_ = child.Status();
  }
  void Missing(const wchar_t*) noexcept {}

 private:
  void Create(const varnel::Text& text) noexcept { status_ = parent_->TryAddChild(name_, text, &element_); }

  Element element_;
  const Element* parent_ = nullptr;
  const wchar_t* name_ = nullptr;
  HRESULT status_ = S_OK;
};

}  // namespace detail

// The base of generated events.
template <class Derived>
class Event {
 public:
  // Adds the event to a report. Returns what TryAddEvent returns, or kBadText, kNullText, kBadTime or
  // kNoChild if the event has a value that cannot be written; then nothing is added. Only if there is no
  // memory the report may keep the event without all its values.
  template <class Duration = std::chrono::system_clock::duration>
  [[nodiscard]] HRESULT TryAddTo(const Report& report, detail::SystemTime<Duration> time =
                                                           std::chrono::system_clock::now()) const noexcept {
    const detail::FaultFinder fault = FindFault();
    if (FAILED(fault.Status())) return fault.Status();
    Element event;
    const HRESULT result = report.TryAddEvent(Derived::kName, Derived::kId, Derived::kSeverity, time, &event);
    if (FAILED(result)) return result;
    detail::FieldWriter writer(std::move(event));
    Self().Visit(writer);
    return writer.Status();
  }
  // Does the same and throws varnel::Error, which names the event and the field.
  template <class Duration = std::chrono::system_clock::duration, class Form = detail::Throwing>
  void AddTo(const Report& report,
             detail::SystemTime<Duration> time = std::chrono::system_clock::now()) const {
    Form::Check("AddTo", TryAddTo(report, time), [&] {
      const detail::FaultFinder fault = FindFault();
      std::string arguments = detail::Quoted(std::wstring_view(Derived::kName));
      if (FAILED(fault.Status())) arguments += ", " + detail::Quoted(std::wstring_view(fault.Name()));
      return arguments;
    });
  }

 protected:
  ~Event() = default;
  Event() noexcept = default;
  Event(Event&&) noexcept = default;
  Event& operator=(Event&&) noexcept = default;

 private:
  const Derived& Self() const noexcept { return static_cast<const Derived&>(*this); }
  detail::FaultFinder FindFault() const noexcept {
    detail::FaultFinder fault;
    Self().Visit(fault);
    return fault;
  }
};

}  // namespace varnel
