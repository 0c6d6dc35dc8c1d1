#include "event_document.h"

#include <algorithm>

namespace varnel::tool {
namespace {

std::vector<Element>::const_iterator FindProduct(const Element& root) {
  return std::find_if(root.children.begin(), root.children.end(), [](const Element& child) {
    return FindAttribute(child, "ProductName") && !child.Is("MachineInfo");
  });
}

// Moves the text of the first child with each of these names into its place, and gives the other children.
template <std::size_t kCount>
std::vector<Element> TakeFacts(std::vector<Element> children,
                               const std::array<std::string_view, kCount>& names,
                               const std::array<std::string*, kCount>& texts) {
  std::vector<Element> others;
  std::array<bool, kCount> taken{};
  for (Element& child : children) {
    std::size_t i = 0;
    while (i < kCount && (taken[i] || !child.Is(names[i]))) ++i;
    if (i == kCount) {
      others.push_back(std::move(child));
    } else {
      *texts[i] = std::move(child.text);
      taken[i] = true;
    }
  }
  return others;
}

Machine DescribeMachine(Element element) {
  Machine machine;
  machine.others = TakeFacts(std::move(element.children), kMachineFacts,
                             {&machine.name, &machine.agent, &machine.address, &machine.osName,
                              &machine.userName, &machine.timeZoneBias, &machine.hardwareAddress});
  machine.attributes = std::move(element.attributes);
  return machine;
}

Event DescribeEvent(Element element) {
  Event event;
  event.name = std::move(element.name);
  event.attributes = std::move(element.attributes);
  event.children =
      TakeFacts(std::move(element.children), kEventFacts, {&event.id, &event.severity, &event.time});
  return event;
}

void TakeProduct(EventDocument& document, Element product) {
  document.element = std::move(product.name);
  for (auto& [name, value] : product.attributes) {
    if (name == "ProductName")
      document.productName = std::move(value);
    else if (name == "ProductVersion")
      document.productVersion = std::move(value);
    else if (name == "ProductFamily")
      document.productFamily = std::move(value);
    else
      document.attributes.emplace_back(std::move(name), std::move(value));
  }
  for (Element& child : product.children)
    if (IsEvent(child))
      document.events.push_back(DescribeEvent(std::move(child)));
    else
      document.others.push_back(std::move(child));
}

}  // namespace

const std::string* FindAttribute(const Element& element, std::string_view name) {
  for (const auto& attribute : element.attributes)
    if (attribute.first == name) return &attribute.second;
  return nullptr;
}

bool IsEvent(const Element& element) {
  return std::any_of(element.children.begin(), element.children.end(),
                     [](const Element& child) { return child.Is("EventID") || child.Is("GMTTime"); });
}

bool IsEventDocument(const Element& root) {
  return FindProduct(root) != root.children.end();
}

EventDocument DescribeDocument(std::string path, Element root) {
  EventDocument document;
  document.path = std::move(path);
  document.root = std::move(root.name);
  const auto product = FindProduct(root) - root.children.cbegin();
  bool machineFound = false;
  for (std::ptrdiff_t i = 0; i < std::ssize(root.children); ++i) {
    Element& child = root.children[static_cast<std::size_t>(i)];
    if (i == product) {
      TakeProduct(document, std::move(child));
    } else if (!machineFound && child.Is("MachineInfo")) {
      document.machine = DescribeMachine(std::move(child));
      machineFound = true;
    } else {
      document.behind.push_back(std::move(child));
    }
  }
  return document;
}

}  // namespace varnel::tool
