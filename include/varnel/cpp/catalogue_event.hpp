// Part of <varnel/catalogue.hpp>: fields, children, and how a generated event is added to a report.
//
// Generated classes have no members of their own: what is here holds all values as the texts that will be
// written. So a header with thousands of events compiles fast, because little of it is a template.
#pragma once

#include <cwchar>
#include <exception>
#include <string>
#include <type_traits>
#include <utility>
#include <varnel/cpp/report.hpp>
#include <vector>

namespace varnel {
namespace detail {

// The text of a value, and S_OK or what keeps the value out of a report.
struct FieldText {
  Text text;
  HRESULT status = S_OK;
};

template <class Value, class Given>
constexpr bool kFits =
    std::is_convertible_v<Given, Value> && !std::is_same_v<std::decay_t<Given>, std::nullptr_t>;

// Values are varnel::Text, the catalogue's enumerations, and the types of catalogue_values.hpp.
template <class Value>
FieldText AsFieldText(Value value) noexcept {
  if constexpr (std::is_same_v<Value, Text>) {
    const HRESULT status = value.StatusAsNeeded();
    return {std::move(value), status};
  } else if constexpr (std::is_enum_v<Value>) {
    return AsFieldText(Text(TextOf(value)));
  } else {
    const HRESULT status = value.Status();
    return {std::move(value).AsText(), status};
  }
}

}  // namespace detail

// The value of one field of a catalogue. `Name` names the field in the compiler's messages.
template <class Name, class Value>
class Field : public detail::FieldText {
 public:
  template <class Given, std::enable_if_t<!std::is_same_v<std::decay_t<Given>, Field>, int> = 0>
  Field(Given&& given) noexcept : FieldText(Convert(std::forward<Given>(given))) {}

 private:
  template <class Given>
  static FieldText Convert(Given&& given) noexcept {
    static_assert(detail::kFits<Value, Given>,
                  "varnel: a value has another type than its field in the catalogue. This message names the "
                  "field as the first argument of varnel::Field, and the type that it needs as the second.");
    if constexpr (detail::kFits<Value, Given>)
      return detail::AsFieldText<Value>(std::forward<Given>(given));
    else
      std::terminate();  // keeps the compiler from a second message
  }
};

namespace detail {

// An element that will be written. Names are literals of generated code.
struct Node {
  struct Attribute {
    const wchar_t* name;
    FieldText value;
  };
  const wchar_t* name;
  FieldText text;
  std::vector<Attribute> attributes;
  std::vector<Node> children;
};

struct NodeFault {
  const wchar_t* name = nullptr;
  HRESULT status = S_OK;
};
// Returns the first value that cannot be written.
inline NodeFault FindFault(const Node& node) noexcept {
  if (FAILED(node.text.status)) return {node.name, node.text.status};
  for (const Node::Attribute& attribute : node.attributes)
    if (FAILED(attribute.value.status)) return {attribute.name, attribute.value.status};
  for (const Node& child : node.children)
    if (const NodeFault fault = FindFault(child); fault.name) return fault;
  return {};
}

// Writes all but the node's own text into its element; stops at the first failure.
inline HRESULT WriteNode(const Element& element, const Node& node) noexcept {
  HRESULT result = S_OK;
  for (const Node::Attribute& attribute : node.attributes) {
    result = element.TrySetAttribute(attribute.name, attribute.value.text);
    if (FAILED(result)) return result;
  }
  for (const Node& child : node.children) {
    const bool isLeaf = child.attributes.empty() && child.children.empty();
    Element added;
    result = element.TryAddChild(child.name, child.text.text, isLeaf ? nullptr : &added);
    if (SUCCEEDED(result) && !isLeaf) result = WriteNode(added, child);
    if (FAILED(result)) return result;
  }
  return result;
}

struct NodeList {
  std::vector<Node> nodes;
};

// The base of events and children. Moved, not copied, like the texts that it holds.
class NodeOwner {
 protected:
  explicit NodeOwner(const wchar_t* name) noexcept : node_{name, {}, {}, {}} {}
  NodeOwner(const wchar_t* name, FieldText& text) noexcept : node_{name, std::move(text), {}, {}} {}
  ~NodeOwner() = default;
  NodeOwner(NodeOwner&&) noexcept = default;
  NodeOwner& operator=(NodeOwner&&) noexcept = default;

  // Add appends an attribute or a child. Set replaces the one of the same name. Both take what the parameter
  // holds; it is an lvalue because generated functions pass their own parameters on.
  void Add(const wchar_t* name, FieldText& value) {
    if (node_.attributes.capacity() == 0) node_.attributes.reserve(8);
    node_.attributes.push_back({name, std::move(value)});
  }
  void Set(const wchar_t* name, FieldText& value) {
    for (Node::Attribute& attribute : node_.attributes)
      if (std::wcscmp(attribute.name, name) == 0) return (void)(attribute.value = std::move(value));
    Add(name, value);
  }
  void Add(NodeOwner& child) {
    // The fault of an empty list, see below, ends with its first child.
    for (Node& other : node_.children)
      if (other.text.status == kNoChild && std::wcscmp(other.name, child.node_.name) == 0)
        return (void)(other = std::move(child.node_));
    node_.children.push_back(std::move(child.node_));
  }
  void Set(NodeOwner& child) {
    for (Node& other : node_.children)
      if (std::wcscmp(other.name, child.node_.name) == 0) return (void)(other = std::move(child.node_));
    node_.children.push_back(std::move(child.node_));
  }
  // Adds children of which at least one is required.
  void Add(const wchar_t* name, NodeList& children) {
    if (children.nodes.empty()) node_.children.push_back({name, {Text(), kNoChild}, {}, {}});
    for (Node& child : children.nodes) node_.children.push_back(std::move(child));
  }

  const Node& GetNode() const noexcept { return node_; }
  Node&& TakeNode() noexcept { return std::move(node_); }

 private:
  Node node_;
};

}  // namespace detail

// The base of generated children. A setter of a generated class returns the object as an rvalue, so that the
// result of a chain of calls can be passed on.
class Child : public detail::NodeOwner {
 protected:
  using NodeOwner::NodeOwner;

 private:
  template <class Item>
  friend class Many;
};

// The children of one name of which an event has at least one: {File(...), File(...)}, or a vector.
template <class Item>
class Many : public detail::NodeList {
 public:
  template <class... Items, std::enable_if_t<(std::is_same_v<Items, Item> && ...), int> = 0>
  Many(Item&& first, Items&&... others) {
    nodes.reserve(1 + sizeof...(others));
    nodes.push_back(static_cast<Child&&>(first).TakeNode());
    (nodes.push_back(static_cast<Child&&>(others).TakeNode()), ...);
  }
  Many(std::vector<Item>&& items) {
    nodes.reserve(items.size());
    for (Item& item : items) nodes.push_back(static_cast<Child&&>(item).TakeNode());
  }
};

// The base of generated events.
class Event : public detail::NodeOwner {
 public:
  // Adds the event to a report. Returns what TryAddEvent returns, or kBadText, kNullText, kBadTime or
  // kNoChild if the event has a value that cannot be written; then nothing is added. Only if there is no
  // memory the report may keep the event without all its values.
  template <class Duration = std::chrono::system_clock::duration>
  [[nodiscard]] HRESULT TryAddTo(const Report& report, detail::SystemTime<Duration> time =
                                                           std::chrono::system_clock::now()) const noexcept {
    const detail::NodeFault fault = detail::FindFault(GetNode());
    if (FAILED(fault.status)) return fault.status;
    Element event;
    const HRESULT result = report.TryAddEvent(GetNode().name, id_, severity_, time, &event);
    return FAILED(result) ? result : detail::WriteNode(event, GetNode());
  }
  // Does the same and throws varnel::Error, which names the event and the field.
  template <class Duration = std::chrono::system_clock::duration, class Form = detail::Throwing>
  void AddTo(const Report& report,
             detail::SystemTime<Duration> time = std::chrono::system_clock::now()) const {
    Form::Check("AddTo", TryAddTo(report, time), [&] {
      const detail::NodeFault fault = detail::FindFault(GetNode());
      std::string arguments = detail::Quoted(std::wstring_view(GetNode().name));
      if (fault.name) arguments += ", " + detail::Quoted(std::wstring_view(fault.name));
      return arguments;
    });
  }

 protected:
  Event(const wchar_t* name, long id, long severity) noexcept
      : NodeOwner(name), id_(id), severity_(severity) {}

 private:
  long id_;
  long severity_;
};

}  // namespace varnel
