#include "eventfile/event_rules.h"

#include "eventfile/event_document.h"
#include "eventfile/event_forms.h"

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
  Rules(std::vector<Fault>& faults, std::size_t most) : faults_(faults), most_(most) {}

  void CheckRoot(const Element& root) {
    NoAttributes(root);
    NoText(root);
    std::size_t count = 0;
    for (const Element child : root.Children()) {
      if (count == 0 && !child.Is("MachineInfo")) return Say(child, kNoMachine);
      if (count == 0)
        CheckMachine(child);
      else if (count == 1)
        CheckProduct(child);
      else
        CheckProductsElement(child, Names{"MachineInfo", "EventID", "GMTTime"});
      ++count;
    }
    if (count == 0) return Say(root, kNoMachine);
    if (count == 1) Say(root, "the product element is missing after MachineInfo");
  }

 private:
  static constexpr char kNoMachine[] = "MachineInfo must be the first element of the root";

  void Say(std::size_t offset, std::string what) {
    if (faults_.size() < most_) faults_.push_back({offset, std::move(what)});
  }
  void Say(const Element& element, std::string what) { Say(element.Offset(), std::move(what)); }
  // Adds a fault whose text begins with the element's name.
  void SayOf(const Element& element, std::string_view what) {
    Say(element, std::string(element.Name()).append(what));
  }

  void NoAttributes(const Element& element) {
    if (!element.Attributes().empty()) SayOf(element, " must not have attributes");
  }
  void NoText(const Element& element) {
    if (!IsBlank(element.Text())) SayOf(element, " must not have a text of its own");
  }

  // Checks one of the library's own elements, which has a text and nothing else.
  void CheckFact(const Element& fact) {
    NoAttributes(fact);
    if (!fact.Children().empty()) SayOf(fact, " must not have elements");
    if ((fact.Is("TimeZoneBias") || fact.Is("Severity")) && !IsNumber(fact.Text()))
      SayOf(fact, " must be a 32-bit number");
    if (fact.Is("EventID") && (!IsNumber(fact.Text()) || fact.Text() == "0"))
      Say(fact, "EventID must be a 32-bit number other than 0");
    if (fact.Is("GMTTime") && !ParseTime(fact.Text()) && fact.Text() != kNoTime)
      Say(fact, "GMTTime must be a time like 2024-03-07T09:05:03");
    if (fact.Is("RawMACAddress") && !fact.Text().empty() && !IsHardwareAddress(fact.Text()))
      Say(fact, "RawMACAddress must be empty or twelve lower-case hexadecimal digits");
  }

  // Checks an element of the product, which may be anything except an element with a name in `taken`, which
  // readers would take for the library's.
  void CheckProductsElement(const Element& element, std::span<const std::string_view> taken) {
    if (IsOneOf(element, taken)) return SayOf(element, " is a name that only the library may use here");
    if (element.LateText() != 0)
      Say(element.LateText(), "the text of " + std::string(element.Name()) + " must be before its elements");
    constexpr std::string_view kEverywhere[] = {"EventID", "GMTTime"};
    for (const Element child : element.Children()) CheckProductsElement(child, kEverywhere);
  }

  // Checks sets of facts, and after one or more sets the hardware address that a save has added. Stops at the
  // first fact out of order, from which other faults would follow.
  void CheckMachine(const Element& machine) {
    NoText(machine);
    const std::span<const std::string_view> facts(kMachineFacts.data(), kMachineFacts.size() - 1);
    std::size_t next = 0;  // index of the next fact of the set
    bool addressDue = false;
    for (const Element child : machine.Children()) {
      if (next > 0 && !child.Is(facts[next]))
        return Say(child, "expected " + std::string(facts[next]) + " here");
      if (child.Is(facts[next])) {
        next = (next + 1) % facts.size();
        addressDue = addressDue || next == 0;
        CheckFact(child);
      } else if (child.Is(kMachineFacts.back())) {
        if (!addressDue) return SayOf(child, " must follow the other machine facts");
        addressDue = false;
        CheckFact(child);
      } else if (IsOneOf(child, facts)) {
        return SayOf(child, " is out of order: a set of facts begins with MachineName");
      } else {
        CheckProductsElement(child, Names{"EventID", "GMTTime"});
      }
    }
    if (next > 0) return Say(machine, std::string(facts[next]) + " is missing at the end of MachineInfo");
    if (addressDue) Say(machine, "RawMACAddress is missing after the other machine facts");
  }

  void CheckProduct(const Element& product) {
    NoText(product);
    for (const std::string_view name : kProductFacts)
      if (!HasAttribute(product, name)) SayOf(product, " has no attribute " + std::string(name));
    for (const Element child : product.Children())
      if (IsEvent(child))
        CheckEvent(child);
      else
        CheckProductsElement(child, Names{"EventID", "GMTTime"});
  }

  void CheckEvent(const Element& event) {
    NoText(event);
    std::size_t at = 0;
    for (const Element child : event.Children()) {
      if (at == kEventFacts.size()) {
        CheckProductsElement(child, kEventFacts);
        continue;
      }
      if (!child.Is(kEventFacts[at])) return Say(child, EventBegins(kEventFacts[at]));
      CheckFact(child);
      ++at;
    }
    if (at < kEventFacts.size()) Say(event, EventBegins(kEventFacts[at]));
  }
  static std::string EventBegins(std::string_view wanted) {
    return "expected " + std::string(wanted) + " here: an event begins with EventID, Severity and GMTTime";
  }

  std::vector<Fault>& faults_;
  const std::size_t most_;
};

}  // namespace

std::vector<Fault> FindFaults(const Element& root, std::size_t most) {
  std::vector<Fault> faults;
  Rules(faults, most).CheckRoot(root);
  return faults;
}

}  // namespace varnel::tool
