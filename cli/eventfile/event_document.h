#pragma once

#include "console/text.h"
#include "eventfile/xml_tree.h"

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// The library's own elements and attributes, in the order in which it writes them. A save adds the last
// machine fact.
constexpr std::array<std::string_view, 7> kMachineFacts = {
    "MachineName", "AgentGUID", "IPAddress", "OSName", "UserName", "TimeZoneBias", "RawMACAddress"};
constexpr std::array<std::string_view, 3> kEventFacts = {"EventID", "Severity", "GMTTime"};
constexpr std::array<std::string_view, 3> kProductFacts = {"ProductName", "ProductVersion", "ProductFamily"};

// The first child of an element for each of some names. The texts are unchecked: a readable document may
// still break the rules (event_rules.h).
template <std::size_t kCount>
class Facts {
 public:
  Facts(const std::optional<Element>& element, const std::array<std::string_view, kCount>& names) {
    if (!element) return;
    for (const Element child : element->Children())
      for (std::size_t i = 0; i < kCount; ++i)
        if (!facts_[i] && child.Is(names[i])) facts_[i] = child;
  }
  // Returns the text of the i-th fact; an empty text if it is missing.
  [[nodiscard]] std::string_view Text(std::size_t i) const {
    return facts_[i] ? facts_[i]->Text() : std::string_view();
  }
  // True if this child is one of the facts found.
  [[nodiscard]] bool Have(const Element& child) const {
    for (const std::optional<Element>& fact : facts_)
      if (fact == child) return true;
    return false;
  }

 private:
  std::array<std::optional<Element>, kCount> facts_;
};
template <std::size_t kCount>
Facts(const std::optional<Element>&, const std::array<std::string_view, kCount>&) -> Facts<kCount>;

// An event file's document.
struct EventDocument {
  std::string path;
  Element root;
  Element product;
  std::optional<Element> machine;  // the first "MachineInfo"
  std::string digest = {};         // of DigestOf, once it has been computed
  [[nodiscard]] std::string FileName() const { return std::string(FileNameOf(path)); }
};

// Returns the attribute's value; an empty text if the attribute is missing.
[[nodiscard]] std::string_view AttributeOf(const Element& element, std::string_view name);
[[nodiscard]] bool HasAttribute(const Element& element, std::string_view name);
// True if a child of the product element is an event: it has a child "EventID" or "GMTTime".
[[nodiscard]] bool IsEvent(const Element& element);

// An event of a document, and its place among them, from 1.
struct PlacedEvent {
  Element element;
  std::size_t place = 0;
};
// Receives a part of the output about an event.
using EventSink = std::function<void(const PlacedEvent& event, std::string_view text)>;
// Returns the events of a document, in its order.
[[nodiscard]] std::vector<PlacedEvent> EventsOf(const EventDocument& document);

// Returns the event document with this root; nothing if it has no product element and so is no event
// document. The product element is the root's first child, other than "MachineInfo", with the attribute
// "ProductName".
[[nodiscard]] std::optional<EventDocument> DescribeDocument(std::string path, const Element& root);

}  // namespace varnel::tool
