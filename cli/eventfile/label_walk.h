#pragma once

#include "eventfile/event_document.h"
#include "eventfile/event_forms.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

// The labels of an event, for JSON and for selections: each function calls add(path, text) for some of them.
// An event has those of WalkFirstLabels, WalkEventLabels and WalkLastLabels, in this order.
namespace varnel::tool {

// The attributes of an element, or the element and everything below it. The names are appended to `path`
// during the call.
template <class Add>
void WalkAttributes(std::string& path, const Element& element, Add& add) {
  const std::size_t length = path.size();
  for (const auto [name, value] : element.Attributes()) {
    path += name;
    add(path, value);
    path.resize(length);
  }
}
template <class Add>
void WalkElement(std::string& path, const Element& element, Add& add) {
  const std::size_t length = path.size();
  path += element.Name();
  if (!IsBlank(element.Text()) || (element.Children().empty() && element.Attributes().empty()))
    add(path, element.Text());
  path += '_';
  WalkAttributes(path, element, add);
  for (const Element child : element.Children()) WalkElement(path, child, add);
  path.resize(length);
}

// What all events of a document share, before the labels of the event.
template <class Add>
void WalkFirstLabels(const EventDocument& document, Add& add) {
  add("product_family", AttributeOf(document.product, kProductFacts[2]));
  add("root", document.root.Name());
}

// The event's own labels. `facts` are those of the event.
template <class Add>
void WalkEventLabels(const Element& event, const Facts<kEventFacts.size()>& facts, Add& add) {
  const std::string_view severity = facts.Text(1), time = facts.Text(2);
  // An invalid number in its field would make the receiver refuse the event.
  if (!IsNumber(severity) && !severity.empty()) add("Severity", severity);
  if (!ParseTime(time) && !time.empty()) add("GMTTime", time);
  std::string path;
  WalkAttributes(path, event, add);
  for (const Element child : event.Children())
    if (!facts.Have(child)) WalkElement(path, child, add);
}

// What a document says of its machine besides the fields of JSON. `facts` are those of the machine.
template <class Add>
void WalkMachineLabels(const Element& machine, const Facts<kMachineFacts.size()>& facts, Add& add) {
  const std::string_view address = facts.Text(2), bias = facts.Text(5), hardware = facts.Text(6);
  if (!IsIpAddress(std::string(address)) && !address.empty()) add("MachineInfo_IPAddress", address);
  if (!IsHardwareAddress(hardware) && !hardware.empty()) add("MachineInfo_RawMACAddress", hardware);
  if (!bias.empty()) add("MachineInfo_TimeZoneBias", bias);
  std::string path = "MachineInfo_";
  WalkAttributes(path, machine, add);
  for (const Element child : machine.Children())
    if (!facts.Have(child)) WalkElement(path, child, add);
}

// What all events of a document share, after the labels of the event: the machine, the other children of the
// product element, and the elements after it.
template <class Add>
void WalkLastLabels(const EventDocument& document, Add& add) {
  if (document.machine) WalkMachineLabels(*document.machine, Facts(document.machine, kMachineFacts), add);
  std::string path = std::string(document.product.Name()) + "_";
  const auto addOther = [&add, length = path.size()](std::string_view given, std::string_view value) {
    const std::string_view name = given.substr(length);
    if (std::find(kProductFacts.begin(), kProductFacts.end(), name) == kProductFacts.end()) add(given, value);
  };
  WalkAttributes(path, document.product, addOther);
  for (const Element child : document.product.Children())
    if (!IsEvent(child)) WalkElement(path, child, add);
  path = std::string(document.root.Name()) + "_";
  for (const Element child : document.root.Children())
    if (!(child == document.product) && !(document.machine == child)) WalkElement(path, child, add);
}

}  // namespace varnel::tool
