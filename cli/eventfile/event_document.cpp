#include "eventfile/event_document.h"

#include <utility>

namespace varnel::tool {

std::string_view AttributeOf(const Element& element, std::string_view name) {
  for (const auto [given, value] : element.Attributes())
    if (given == name) return value;
  return {};
}

bool HasAttribute(const Element& element, std::string_view name) {
  for (const auto [given, value] : element.Attributes())
    if (given == name) return true;
  return false;
}

bool IsEvent(const Element& element) {
  for (const Element child : element.Children())
    if (child.Is("EventID") || child.Is("GMTTime")) return true;
  return false;
}

std::vector<PlacedEvent> EventsOf(const EventDocument& document) {
  std::vector<PlacedEvent> events;
  for (const Element child : document.product.Children())
    if (IsEvent(child)) events.push_back({child, events.size() + 1});
  return events;
}

std::optional<EventDocument> DescribeDocument(std::string path, const Element& root) {
  std::optional<Element> product;
  std::optional<Element> machine;
  for (const Element child : root.Children()) {
    if (child.Is("MachineInfo")) {
      if (!machine) machine = child;
    } else if (!product && HasAttribute(child, "ProductName")) {
      product = child;
    }
  }
  if (!product) return std::nullopt;
  return EventDocument{std::move(path), root, *product, machine};
}

}  // namespace varnel::tool
