#include "report/report_json.h"

#include "console/console.h"
#include "console/printable.h"
#include "eventfile/event_forms.h"

#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {
namespace {

// The members of an object in document order, with duplicates. Faster than an ordered_map, which compares
// each name with all names before it.
template <class Key, class Value, class Compare, class Allocator>
class MemberList : public nlohmann::ordered_map<Key, Value, Compare, Allocator> {
 public:
  using nlohmann::ordered_map<Key, Value, Compare, Allocator>::ordered_map;
  // The parser adds a member with this operator.
  Value& operator[](const Key& key) { return this->emplace_back(key, Value()).second; }
};
using Json = nlohmann::basic_json<MemberList>;

constexpr int kDeepest = 100;

// A value with its path in the document, for messages.
struct JsonValue {
  const Json& value;
  std::string path;

  [[noreturn]] void Refuse(const std::string& wanted) const {
    throw Failure("JSON, " + Printable(path.empty() ? "the whole text" : path) + ": " + wanted);
  }
  std::string Text() const {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number() || value.is_boolean()) return value.dump();
    Refuse("expected a text or a number");
  }
  long Number() const {
    if (!value.is_number_integer() || value < INT32_MIN || value > INT32_MAX ||
        (value.is_number_unsigned() && value.get<std::uint64_t>() > INT32_MAX))
      Refuse("expected a 32-bit whole number");
    return value.get<long>();
  }
  // Calls take(name, value) for each member.
  template <class Take>
  void Members(const Take& take) const {
    if (!value.is_object()) Refuse("expected an object");
    std::set<std::string_view> names;
    for (const auto& [key, member] : value.get_ref<const Json::object_t&>()) {
      const JsonValue entry{member, path + "/" + key};
      if (!names.insert(key).second) entry.Refuse("given twice");
      take(key, entry);
    }
  }
  template <class Take>
  void Items(const Take& take) const {
    if (!value.is_array()) Refuse("expected a list");
    for (std::size_t i = 0; i < value.size(); ++i) take(JsonValue{value[i], path + "/" + std::to_string(i)});
  }
};

std::chrono::sys_seconds TimeOf(const JsonValue& entry) {
  std::string text = entry.Text();
  const bool isUtc = text.ends_with('Z');
  if (isUtc) text.pop_back();
  const auto time = ParseTime(text);
  if (!isUtc || !time) entry.Refuse("expected a time like 2024-03-07T09:05:03Z");
  return *time;
}

// Reads a member that every element may have. Returns false for any other member.
bool TakeElementMember(ElementText& element, const std::string& key, const JsonValue& entry, int depth) {
  if (depth > kDeepest) entry.Refuse("elements are nested too deeply");
  if (key == "name") {
    element.name = entry.Text();
  } else if (key == "attributes") {
    entry.Members([&](const std::string& name, const JsonValue& value) {
      element.attributes.emplace_back(name, value.Text());
    });
  } else if (key == "children") {
    entry.Items([&](const JsonValue& item) {
      ElementText& child = element.children.emplace_back();
      item.Members([&](const std::string& name, const JsonValue& value) {
        if (name == "text")
          child.text = value.Text();
        else if (!TakeElementMember(child, name, value, depth + 1))
          value.Refuse("unknown name; an element has name, text, attributes and children");
      });
    });
  } else {
    return false;
  }
  return true;
}

void TakeEvent(EventText& event, const JsonValue& entry) {
  entry.Members([&](const std::string& key, const JsonValue& value) {
    if (key == "id")
      event.id = value.Number();
    else if (key == "severity")
      event.severity = value.Number();
    else if (key == "time")
      event.time = TimeOf(value);
    else if (!TakeElementMember(event, key, value, 0))
      value.Refuse("unknown name; an event has name, id, severity, time, attributes and children");
  });
}

}  // namespace

ReportText ParseReport(std::string_view json) {
  Json document;
  try {
    document = Json::parse(json);
  } catch (const Json::exception& error) {
    throw Failure("JSON: " + Printable(error.what()));
  }
  ReportText report;
  const std::pair<const char*, std::string*> texts[] = {
      {"softwareId", &report.softwareId}, {"root", &report.root},
      {"element", &report.element},       {"name", &report.name},
      {"version", &report.version},       {"family", &report.family},
      {"osName", &report.osName},         {"userName", &report.userName}};
  JsonValue{document, ""}.Members([&](const std::string& key, const JsonValue& entry) {
    for (const auto& [name, text] : texts) {
      if (key != name) continue;
      *text = entry.Text();
      return;
    }
    if (key != "events") entry.Refuse("unknown name; docs/tool.md lists the names of a report");
    entry.Items([&](const JsonValue& item) { TakeEvent(report.events.emplace_back(), item); });
  });
  if (report.events.empty()) throw Failure("JSON, /events: expected at least one event");
  return report;
}

}  // namespace varnel::tool
