#pragma once

#include "xml_tree.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// In their order; the last one is added by the save.
constexpr std::array<std::string_view, 7> kMachineFacts = {
    "MachineName", "AgentGUID", "IPAddress", "OSName", "UserName", "TimeZoneBias", "RawMACAddress"};
constexpr std::array<std::string_view, 3> kEventFacts = {"EventID", "Severity", "GMTTime"};
constexpr std::array<std::string_view, 3> kProductFacts = {"ProductName", "ProductVersion", "ProductFamily"};

// The first children of an element that have these names. Their texts are as the file has them: a document
// may be readable and yet not right (event_rules.h).
template <std::size_t kCount>
class Facts {
 public:
  Facts(const std::optional<Element>& element, const std::array<std::string_view, kCount>& names) {
    if (!element) return;
    for (const Element child : element->Children())
      for (std::size_t i = 0; i < kCount; ++i)
        if (!facts_[i] && child.Is(names[i])) facts_[i] = child;
  }
  // Empty when there is none.
  [[nodiscard]] std::string_view Text(std::size_t i) const {
    return facts_[i] ? facts_[i]->Text() : std::string_view();
  }
  // True if this child is one of the facts.
  [[nodiscard]] bool Have(const Element& child) const {
    for (const std::optional<Element>& fact : facts_)
      if (fact == child) return true;
    return false;
  }

 private:
  std::array<std::optional<Element>, kCount> facts_;
};

struct EventDocument {
  std::string path;
  Element root;
  Element product;
  std::optional<Element> machine;  // of several the first
  [[nodiscard]] std::string FileName() const { return path.substr(path.find_last_of("\\/") + 1); }
};

// Empty when there is none, or it is empty.
[[nodiscard]] std::string_view AttributeOf(const Element& element, std::string_view name);
[[nodiscard]] bool HasAttribute(const Element& element, std::string_view name);
// True if an element of the product's is an event.
[[nodiscard]] bool IsEvent(const Element& element);

// Nothing for a file that cannot be shown as an event document.
[[nodiscard]] std::optional<EventDocument> DescribeDocument(std::string path, const Element& root);

}  // namespace varnel::tool
