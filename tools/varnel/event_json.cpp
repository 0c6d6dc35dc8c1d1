#include "event_json.h"

#include "event_forms.h"
#include "json_text.h"
#include "text.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace varnel::tool {
namespace {

using nlohmann::ordered_json;

// What a receiver takes by default: bytes of a text, and fields of an event.
constexpr std::size_t kLongestText = 32'766;
constexpr std::size_t kMostLabels = 900;
constexpr std::size_t kMostLabelBytes = 256 * 1024;

std::string Cut(std::string_view text) {
  if (text.size() <= kLongestText) return std::string(text);
  std::size_t end = kLongestText;
  while ((text[end] & 0xC0) == 0x80) --end;  // not within a character
  return std::string(text.substr(0, end));
}

// Sets object/.../field, unless the text is empty.
void SetText(ordered_json& json, std::initializer_list<const char*> path, const std::string& text) {
  if (text.empty()) return;
  ordered_json* value = &json;
  for (const char* const name : path) value = &(*value)[name];
  *value = Cut(text);
}

// Flat texts: the names of elements and attributes on the way, joined by "_"; a name that is taken gets a
// number. Those that come first stay when there are too many.
class Labels {
 public:
  void Add(std::string name, const std::string& text) {
    if (IsFull()) return;
    // A dot would make a level of its own.
    std::replace(name.begin(), name.end(), '.', '_');
    const std::string first = Cut(name);
    for (name = first; !taken_.insert(name).second;) name = first + "_" + std::to_string(++last_[first] + 1);
    labels_.emplace_back(name, Cut(text));
    bytes_ += text.size();
  }
  void Add(const std::string& prefix, const Attributes& attributes) {
    for (const auto& [name, value] : attributes) {
      if (IsFull()) return;
      Add(prefix + name, value);
    }
  }
  void Add(const std::string& prefix, const std::vector<Element>& elements) {
    for (const Element& element : elements) {
      if (IsFull()) return;
      const std::string path = prefix + element.name;
      if (!IsBlank(element.text) || (element.children.empty() && element.attributes.empty()))
        Add(path, element.text);
      Add(path + "_", element.attributes);
      Add(path + "_", element.children);
    }
  }
  ordered_json Take() { return std::move(labels_); }

 private:
  bool IsFull() const { return labels_.size() == kMostLabels || bytes_ > kMostLabelBytes; }

  ordered_json::object_t labels_;
  std::size_t bytes_ = 0;
  std::unordered_set<std::string> taken_;
  std::unordered_map<std::string, int> last_;
};

bool IsAddress(const std::string& text) {
  const std::wstring wide = ToWide(text);
  IN6_ADDR binary;
  return InetPtonW(AF_INET, wide.c_str(), &binary) == 1 || InetPtonW(AF_INET6, wide.c_str(), &binary) == 1;
}

// 01-23-45-67-89-AB
std::string HyphenedAddress(const std::string& digits) {
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && i % 2 == 0) text += '-';
    text += static_cast<char>(digits[i] >= 'a' ? digits[i] - 'a' + 'A' : digits[i]);
  }
  return text;
}

void AddMachine(ordered_json& json, Labels& labels, const Machine& machine) {
  SetText(json, {"host", "name"}, machine.name);
  if (IsAddress(machine.address))
    json["host"]["ip"] = {machine.address};
  else if (!machine.address.empty())
    labels.Add("MachineInfo_IPAddress", machine.address);
  if (IsHardwareAddress(machine.hardwareAddress))
    json["host"]["mac"] = {HyphenedAddress(machine.hardwareAddress)};
  else if (!machine.hardwareAddress.empty())
    labels.Add("MachineInfo_RawMACAddress", machine.hardwareAddress);
  SetText(json, {"host", "os", "full"}, machine.osName);
  SetText(json, {"user", "name"}, machine.userName);
  SetText(json, {"agent", "id"}, machine.agent);
  if (!machine.timeZoneBias.empty()) labels.Add("MachineInfo_TimeZoneBias", machine.timeZoneBias);
  labels.Add("MachineInfo_", machine.attributes);
  labels.Add("MachineInfo_", machine.others);
}

// A value that the field cannot hold would make the receiver refuse the event: it goes to the labels.
void AddEvent(ordered_json& json, Labels& labels, const Event& event) {
  json["event"] = {{"kind", "event"}, {"module", "varnel"}, {"action", Cut(event.name)}};
  SetText(json, {"event", "code"}, event.id);
  if (IsNumber(event.severity)) {
    int severity = 0;
    std::from_chars(event.severity.data(), event.severity.data() + event.severity.size(), severity);
    json["event"]["severity"] = severity;
  } else if (!event.severity.empty()) {
    labels.Add("Severity", event.severity);
  }
  if (!IsTime(event.time) && !event.time.empty()) labels.Add("GMTTime", event.time);
  labels.Add("", event.attributes);
  labels.Add("", event.children);
}

}  // namespace

std::string EventJson(const EventDocument& document, std::size_t index) {
  const Event& event = document.events[index];
  ordered_json json;
  if (IsTime(event.time)) json["@timestamp"] = event.time + "Z";
  json["ecs"]["version"] = "8.11.0";
  Labels labels;
  labels.Add("product_family", document.productFamily);
  labels.Add("root", document.root);
  AddEvent(json, labels, event);
  json["event"]["id"] = document.FileName() + "#" + std::to_string(index + 1);
  AddMachine(json, labels, document.machine);
  SetText(json, {"observer", "product"}, document.productName);
  SetText(json, {"observer", "version"}, document.productVersion);
  SetText(json, {"log", "file", "path"}, document.path);
  labels.Add(document.element + "_", document.attributes);
  labels.Add(document.element + "_", document.others);
  labels.Add(document.root + "_", document.behind);
  json["labels"] = labels.Take();
  return JsonText(json);
}

}  // namespace varnel::tool
