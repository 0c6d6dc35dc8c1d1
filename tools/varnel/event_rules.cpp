#include "event_rules.h"

#include "event_document.h"
#include "event_forms.h"

#include <algorithm>
#include <initializer_list>
#include <span>

namespace varnel::tool {
namespace {

using Names = std::initializer_list<std::string_view>;

bool IsOneOf(const Element& element, std::span<const std::string_view> names) {
  return std::any_of(names.begin(), names.end(), [&](std::string_view name) { return element.Is(name); });
}

class Rules {
 public:
  explicit Rules(std::vector<Fault>& faults) : faults_(faults) {}

  void CheckRoot(const Element& root) {
    NoAttributes(root);
    NoText(root);
    const auto& children = root.children;
    if (children.empty() || !children[0].Is("MachineInfo")) {
      Say(children.empty() ? root : children[0], "MachineInfo is wanted as the first element of the root");
      return;
    }
    CheckMachine(children[0]);
    if (children.size() < 2) return Say(root, "the product's element is missing behind MachineInfo");
    CheckProduct(children[1]);
    for (std::size_t i = 2; i < children.size(); ++i)
      CheckProductsElement(children[i], Names{"MachineInfo", "EventID", "GMTTime"});
  }

 private:
  void Say(const Element& element, std::string what) { faults_.push_back({element.place, std::move(what)}); }

  void NoAttributes(const Element& element) {
    if (!element.attributes.empty()) Say(element, element.name + " has no attributes");
  }
  void NoText(const Element& element) {
    if (!IsBlank(element.text)) Say(element, element.name + " has no text of its own");
  }

  // One of the library's own elements: a text and nothing else.
  void CheckFact(const Element& fact) {
    NoAttributes(fact);
    if (!fact.children.empty()) Say(fact, fact.name + " has no elements");
    if ((fact.Is("TimeZoneBias") || fact.Is("Severity")) && !IsNumber(fact.text))
      Say(fact, fact.name + " wants a number of 32 bits");
    if (fact.Is("EventID") && (!IsNumber(fact.text) || fact.text == "0"))
      Say(fact, "EventID wants a number of 32 bits other than 0");
    if (fact.Is("GMTTime") && !IsTime(fact.text) && fact.text != kNoTime)
      Say(fact, "GMTTime wants a time like 2024-03-07T09:05:03");
    if (fact.Is("RawMACAddress") && !fact.text.empty() && !IsHardwareAddress(fact.text))
      Say(fact, "RawMACAddress wants twelve lower-case hexadecimal digits, or nothing");
  }

  // What a product adds: free, but for names that would be taken for the library's where it stands.
  void CheckProductsElement(const Element& element, std::span<const std::string_view> taken) {
    if (IsOneOf(element, taken)) return Say(element, element.name + " is a name of the library's own here");
    if (element.lateText)
      faults_.push_back({*element.lateText, "the text of " + element.name + " stands before its elements"});
    constexpr std::string_view kEverywhere[] = {"EventID", "GMTTime"};
    for (const Element& child : element.children) CheckProductsElement(child, kEverywhere);
  }

  // Sets of facts, and behind one or more of them the hardware address that a save has added. Ends with the
  // first fact out of its place: the others would only follow from it.
  void CheckMachine(const Element& machine) {
    NoText(machine);
    const std::span<const std::string_view> facts(kMachineFacts.data(), kMachineFacts.size() - 1);
    std::size_t next = 0;  // inside a set: the fact that is due
    bool addressDue = false;
    for (const Element& child : machine.children) {
      if (next > 0 && !child.Is(facts[next])) return Say(child, std::string(facts[next]) + " is wanted here");
      if (child.Is(facts[next])) {
        next = (next + 1) % facts.size();
        addressDue = addressDue || next == 0;
        CheckFact(child);
      } else if (child.Is(kMachineFacts.back())) {
        if (!addressDue) return Say(child, child.name + " without the facts of the machine before it");
        addressDue = false;
        CheckFact(child);
      } else if (IsOneOf(child, facts)) {
        return Say(child, child.name + " is out of order: a set of facts begins with MachineName");
      } else {
        CheckProductsElement(child, Names{"EventID", "GMTTime"});
      }
    }
    if (next > 0) return Say(machine, std::string(facts[next]) + " is missing at the end of MachineInfo");
    if (addressDue) Say(machine, "RawMACAddress is missing behind the facts of the machine");
  }

  void CheckProduct(const Element& product) {
    NoText(product);
    for (const std::string_view name : {"ProductName", "ProductVersion", "ProductFamily"})
      if (!FindAttribute(product, name))
        Say(product, product.name + " has no attribute " + std::string(name));
    for (const Element& child : product.children)
      if (IsEvent(child))
        CheckEvent(child);
      else
        CheckProductsElement(child, Names{"EventID", "GMTTime"});
  }

  void CheckEvent(const Element& event) {
    NoText(event);
    std::size_t at = 0;
    for (const std::string_view name : kEventFacts) {
      if (at == event.children.size() || !event.children[at].Is(name))
        return Say(at < event.children.size() ? event.children[at] : event,
                   std::string(name) + " is wanted here: an event begins with EventID, Severity and GMTTime");
      CheckFact(event.children[at++]);
    }
    for (; at < event.children.size(); ++at) CheckProductsElement(event.children[at], kEventFacts);
  }

  std::vector<Fault>& faults_;
};

}  // namespace

std::vector<Fault> FindFaults(const Element& root) {
  std::vector<Fault> faults;
  Rules(faults).CheckRoot(root);
  return faults;
}

}  // namespace varnel::tool
