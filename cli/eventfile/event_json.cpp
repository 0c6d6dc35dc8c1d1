#include "eventfile/event_json.h"

#include "eventfile/event_forms.h"
#include "eventfile/event_identifier.h"
#include "eventfile/event_labels.h"
#include "eventfile/label_walk.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {
namespace {

// Returns an address like 01-23-45-67-89-AB.
std::string HyphenedAddress(std::string_view digits) {
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && i % 2 == 0) text += '-';
    text += static_cast<char>(digits[i] >= 'a' ? digits[i] - 'a' + 'A' : digits[i]);
  }
  return text;
}

std::string Quoted(std::string_view text, JsonUse use) {
  std::string json;
  AppendJsonText(json, Cut(text), use);
  return json;
}

// Writes the events of one document. Fields that all of them share are formatted once.
class EventWriter {
 public:
  EventWriter(const EventDocument& document, JsonUse use)
      : use_(use), identifiers_(document, use), first_(use), last_(use) {
    WalkFirstLabels(document, first_);
    AddMachine(document.machine);
    AddField("observer", {{"product", Text(AttributeOf(document.product, kProductFacts[0]))},
                          {"version", Text(AttributeOf(document.product, kProductFacts[1]))}});
    AddField("log", {{"file", "{\"path\":" + Text(document.path) + "}"}});
    WalkLastLabels(document, last_);
  }

  // Replaces `json` by the event's line. Returns false if not even the required fields fit.
  bool Write(const Element& event, std::size_t place, std::size_t limit, std::string& json) {
    if (limit < kLineEnding) return false;
    json.clear();
    JsonLine line(json, limit - kLineEnding, use_);
    LeftOut leftOut = leftOut_;
    const Facts facts(event, kEventFacts);
    const std::string_view id = facts.Text(0), severity = facts.Text(1), time = facts.Text(2);
    if (ParseTime(time)) line.Text("@timestamp", std::string(time) + "Z");
    line.Raw("ecs", R"({"version":"8.11.0"})");
    line.Open("event");
    line.Raw("kind", R"("event")");
    line.Raw("module", R"("varnel")");
    bool fits = line.Text("action", Cut(event.Name()));
    if (!id.empty() && !line.Text("code", Cut(id))) ++leftOut.fields;
    if (IsNumber(severity)) line.Raw("severity", severity);
    fits = line.Text("id", identifiers_.Of(place)) && fits;
    line.Close();
    if (!fits) return false;
    for (const auto& [name, value] : fields_)
      if (!line.Raw(name, value)) ++leftOut.fields;

    line.Open("labels");
    Labels labels(line, leftOut);
    labels.Add(first_);
    WalkEventLabels(event, facts, labels);
    labels.Add(last_);
    line.SetLimit(limit);
    if (const std::string words = leftOut.Words(); !words.empty()) line.Text("left_out", words);
    line.Close();
    line.Close();
    leftOut_ = {};
    return true;
  }
  void CountLeftOut() { ++leftOut_.events; }

 private:
  using Members = std::initializer_list<std::pair<std::string_view, std::string>>;

  std::string Text(std::string_view text) const { return text.empty() ? std::string() : Quoted(text, use_); }
  // Returns an object with the members that have a value.
  std::string Object(Members members) const {
    std::string json;
    JsonLine line(json, json.max_size() / 2, use_);
    for (const auto& [name, value] : members)
      if (!value.empty()) line.Raw(name, value);
    line.Close();
    return json == "{}" ? std::string() : json;
  }
  void AddField(const char* name, Members members) {
    if (std::string json = Object(members); !json.empty()) fields_.emplace_back(name, std::move(json));
  }

  void AddMachine(const std::optional<Element>& machine) {
    const Facts facts(machine, kMachineFacts);
    const std::string address(facts.Text(2));
    const std::string_view hardware = facts.Text(6);
    AddField("host", {{"name", Text(facts.Text(0))},
                      {"ip", IsIpAddress(address) ? "[" + Text(address) + "]" : ""},
                      {"mac", IsHardwareAddress(hardware) ? "[" + Text(HyphenedAddress(hardware)) + "]" : ""},
                      {"os", Object({{"full", Text(facts.Text(3))}})}});
    AddField("user", {{"name", Text(facts.Text(4))}});
    AddField("agent", {{"id", Text(facts.Text(1))}});
  }

  const JsonUse use_;
  const EventIdentifiers identifiers_;
  std::vector<std::pair<std::string, std::string>> fields_;
  SharedLabels first_;
  SharedLabels last_;
  LeftOut leftOut_;  // parts of earlier events, to be counted in the next event's line
};

}  // namespace

void WriteEvents(const EventDocument& document, const std::vector<PlacedEvent>& events, JsonUse use,
                 const EventSink& sink) {
  EventWriter writer(document, use);
  Allowance allowance;
  std::string json;
  for (const PlacedEvent& event : events) {
    const std::size_t least = &event == &events.back() ? Allowance::kEnd : 0;
    const std::size_t limit =
        std::min(std::max(allowance.Left(event.element.LastOffset()), least), kLongestLine);
    if (!writer.Write(event.element, event.place, limit, json)) {
      writer.CountLeftOut();
      continue;
    }
    sink(event, json);
    allowance.Use(json.size() + 2);  // with the line end
  }
}

}  // namespace varnel::tool
