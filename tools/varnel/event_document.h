#pragma once

#include "xml_tree.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// In their order; the last one is added by the save.
constexpr std::array<std::string_view, 7> kMachineFacts = {
    "MachineName", "AgentGUID", "IPAddress", "OSName", "UserName", "TimeZoneBias", "RawMACAddress"};
constexpr std::array<std::string_view, 3> kEventFacts = {"EventID", "Severity", "GMTTime"};

// Texts stand here as the file has them: a document may be readable and yet not right (event_rules.h).
struct Machine {
  std::string name;
  std::string agent;
  std::string address;
  std::string osName;
  std::string userName;
  std::string timeZoneBias;
  std::string hardwareAddress;
  Attributes attributes;
  std::vector<Element> others;  // what the product added
};
struct Event {
  std::string name;
  std::string id;
  std::string severity;
  std::string time;
  Attributes attributes;
  std::vector<Element> children;
};
struct EventDocument {
  std::string path;
  [[nodiscard]] std::string FileName() const { return path.substr(path.find_last_of("\\/") + 1); }
  std::string root;  // the names that the product has chosen
  std::string element;
  Machine machine;  // of several sets of facts the first; the others are among its others
  std::string productName;
  std::string productVersion;
  std::string productFamily;
  Attributes attributes;  // of the product, but for these three
  std::vector<Event> events;
  std::vector<Element> others;  // beside the events
  std::vector<Element> behind;  // behind the product's element
};

// Null when there is none.
[[nodiscard]] const std::string* FindAttribute(const Element& element, std::string_view name);
// Whether an element of the product's is an event.
[[nodiscard]] bool IsEvent(const Element& element);

// Whether the file can be shown as an event document.
[[nodiscard]] bool IsEventDocument(const Element& root);
// Of a root that is one.
[[nodiscard]] EventDocument DescribeDocument(std::string path, Element root);

}  // namespace varnel::tool
