#include "catalogue/json_schema_writer.h"

#include "catalogue/json_labels.h"
#include "catalogue/value_types.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

namespace varnel::tool::catalogue {
namespace {

using Json = nlohmann::ordered_json;

// Returns a name as a part of a regular expression.
std::string Quoted(std::string_view name) {
  std::string quoted;
  for (const char c : name) {
    if (c == '.' || c == '-') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

// Returns a label without the numbers at its end: a label that is taken gets one.
std::string WithoutNumbers(std::string name) {
  for (;;) {
    const std::size_t end = name.find_last_not_of("0123456789");
    if (end == name.npos || end + 1 == name.size() || name[end] != '_' || end == 0) return name;
    name.resize(end);
  }
}

class SchemaWriter {
 public:
  explicit SchemaWriter(const Catalogue& catalogue) : catalogue_(catalogue) {
    for (const std::string& name :
         {std::string("MachineInfo"), catalogue.product.element, catalogue.product.root})
      outside_.push_back(name + "_");
  }

  std::string Write() {
    Json names = Json::array(), rules = Json::array(), events = Json::object();
    Json::object_t& definitions = events.get_ref<Json::object_t&>();
    for (const Event& event : catalogue_.events) {
      names.push_back(event.name);
      rules.push_back(
          {{"if", Action({{"const", event.name}})}, {"then", {{"$ref", "#/definitions/" + event.name}}}});
      definitions.std::vector<Json::object_t::value_type>::emplace_back(event.name, EventSchema(event));
    }
    Json schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                   {"title", "Lines of varnel show --json for the events of " + catalogue_.product.name},
                   {"type", "object"},
                   {"required", {"ecs", "event", "log", "labels"}}};
    schema["properties"] = {
        {"@timestamp", {{"type", "string"}, {"format", "date-time"}}},
        {"event",
         {{"type", "object"},
          {"required", {"kind", "module", "action", "code", "severity", "id"}},
          {"properties",
           {{"kind", {{"const", "event"}}},
            {"module", {{"const", "varnel"}}},
            {"action", {{"enum", names}}}}}}},
        {"observer",
         {{"type", "object"}, {"properties", {{"product", {{"const", catalogue_.product.name}}}}}}},
        {"labels", Labels()}};
    schema["allOf"] = rules;
    schema["definitions"] = events;
    return schema.dump(2) + "\n";
  }

 private:
  static Json Action(Json value) {
    return {{"properties", {{"event", {{"properties", {{"action", std::move(value)}}}}}}}};
  }

  // The rules for labels of every event.
  Json Labels() const {
    return {{"type", "object"},
            {"required", {"root"}},
            {"additionalProperties", {{"type", "string"}}},
            {"properties", {{"root", {{"const", catalogue_.product.root}}}}}};
  }

  Json EventSchema(const Event& event) const {
    // A label's types by its name without numbers, so that values that share a name share a rule.
    std::map<std::string, std::vector<std::optional<ValueType>>> typesOf;
    std::map<std::string, std::string> textOf;
    Json always = Json::array();
    for (const Label& label : LabelsOf(event)) {
      const std::string name = WithoutNumbers(label.name);
      std::vector<std::optional<ValueType>>& types = typesOf[name];
      if (std::find(types.begin(), types.end(), label.type) == types.end()) types.push_back(label.type);
      textOf.emplace(name, label.text);
      if (label.isAlways && std::find(always.begin(), always.end(), label.name) == always.end())
        always.push_back(label.name);
    }
    Json patterns = Json::object();
    for (const auto& [name, types] : typesOf) {
      Json rule = IsOutside(name) ? Json{{"type", "string"}} : AnyOf(types);
      if (!textOf[name].empty()) rule["description"] = textOf[name];
      patterns["^" + Quoted(name) + "(_[0-9]+)*$"] = std::move(rule);
    }
    for (const std::string& path : outside_) patterns["^" + Quoted(path)] = Json{{"type", "string"}};
    Json labels = {{"properties", {{"product_family", true}, {"root", true}, {"left_out", true}}},
                   {"patternProperties", std::move(patterns)},
                   {"additionalProperties", false}};
    // A line that is too long leaves labels out.
    if (!always.empty()) labels["anyOf"] = {{{"required", always}}, {{"required", {"left_out"}}}};
    Json schema = Json::object();
    if (!event.text.empty()) schema["description"] = event.text;
    schema["properties"] = {
        {"event",
         {{"properties",
           {{"code", {{"const", std::to_string(event.id)}}}, {"severity", {{"const", event.severity}}}}}}},
        {"labels", std::move(labels)}};
    return schema;
  }

  // True for a label that may also come from outside of the event.
  bool IsOutside(const std::string& name) const {
    return name == "root" || name == "product_family" || name == "left_out" ||
           std::any_of(outside_.begin(), outside_.end(),
                       [&](const std::string& path) { return (name + "_").starts_with(path); });
  }

  Json AnyOf(const std::vector<std::optional<ValueType>>& types) const {
    if (types.size() == 1) return TypeRule(types.front());
    Json any = Json::array();
    for (const std::optional<ValueType>& type : types) any.push_back(TypeRule(type));
    return {{"anyOf", std::move(any)}};
  }

  Json TypeRule(std::optional<ValueType> type) const {
    if (!type) return {{"const", ""}};
    if (type->kind == ValueKind::kOwn) return {{"enum", catalogue_.types[type->own].values}};
    const std::string_view pattern = BuiltIn(type->kind).pattern;
    if (pattern.empty()) return {{"type", "string"}};
    return {{"type", "string"}, {"pattern", "^(" + std::string(pattern) + ")$"}};
  }

  const Catalogue& catalogue_;
  std::vector<std::string> outside_;  // beginnings of labels from outside of an event
};

}  // namespace

std::string WriteJsonSchema(const Catalogue& catalogue) {
  return SchemaWriter(catalogue).Write();
}

}  // namespace varnel::tool::catalogue
