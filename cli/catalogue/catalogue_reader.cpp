#include "catalogue/catalogue_reader.h"

#include "catalogue/catalogue_rules.h"
#include "catalogue/names.h"
#include "catalogue/toml_scan.h"
#include "catalogue/toml_table.h"
#include "catalogue/value_types.h"

#include <algorithm>
#include <limits>
#include <map>

namespace varnel::tool::catalogue {
namespace {

// Fills a catalogue from the tables of a file.
class Builder {
 public:
  explicit Builder(Findings& findings) : findings_(findings) {}

  Catalogue Build(const toml::table& file) {
    TableReader reader(file, "a catalogue", {"catalogue", "product", "types", "event"}, findings_);
    if (reader.NeededInteger("catalogue", "1") != 1 && reader.Has("catalogue"))
      reader.Say(reader.AtOf("catalogue"), "this program reads catalogues of version 1: write catalogue = 1");
    ReadProduct(reader);
    ReadTypes(reader);
    for (const toml::table* const table : reader.Tables("event")) ReadEvent(*table);
    if (catalogue_.events.empty()) reader.Say(reader.At(), "the catalogue has no event: add an [[event]]");
    return std::move(catalogue_);
  }

 private:
  void ReadProduct(TableReader& file) {
    const toml::table* const table = file.Table("product");
    if (!table) {
      if (!file.Has("product")) file.Say(file.At(), "the product is missing: add a table [product]");
      return;
    }
    TableReader reader(*table, "the product", {"software_id", "root", "element", "name", "family"},
                       findings_);
    Product& product = catalogue_.product;
    product.at = reader.At();
    product.softwareId = ProductText(reader, "software_id", false);
    product.root = Name(reader, "root", Place::kRoot);
    product.element = Name(reader, "element", Place::kProductElement);
    product.name = ProductText(reader, "name", false);
    product.family = ProductText(reader, "family", true);
  }

  std::string ProductText(TableReader& reader, std::string_view key, bool mayBeEmpty) {
    std::string text = reader.NeededText(key);
    if (!reader.HasText(key)) return text;
    if (text.empty() && !mayBeEmpty) reader.Say(reader.AtOf(key), std::string(key) + " must not be empty");
    CheckCharacters(reader, key, text);
    // Initialize cuts a longer software identifier.
    if (key == "software_id" && text.size() > 259)
      reader.Say(reader.AtOf(key), "software_id must have at most 259 characters");
    return text;
  }

  static void CheckCharacters(TableReader& reader, std::string_view key, std::string_view text) {
    if (!IsOneLine(text))
      reader.Say(reader.AtOf(key), std::string(key) + " must be one line without control characters");
  }

  // Reads a name of an element or attribute.
  static std::string Name(TableReader& reader, std::string_view key, std::optional<Place> place) {
    std::string name = reader.NeededText(key);
    const Position at = reader.AtOf(key);
    if (!reader.HasText(key)) return name;
    if (!IsXmlName(name))
      reader.Say(at,
                 "XML does not allow this name: begin with a letter or _, go on with letters, digits, "
                 "-, _ and ., and use at most " +
                     std::to_string(kLongestName) + " bytes");
    else if (place && IsReserved(name, *place))
      reader.Say(at, name + " is an element that the library writes itself: choose another name");
    else if (ClassName(name).empty())
      reader.Say(at, "generated code has no name for this: use an ASCII letter or digit in the name");
    return name;
  }

  void ReadTypes(TableReader& file) {
    const toml::table* const tables = file.Table("types");
    if (!tables) return;
    for (const auto& [key, node] : *tables)
      if (const toml::table* const table = node.as_table())
        ReadType(*table, std::string(key.str()), PositionOf(key.source()));
      else
        file.Say(PositionOf(key.source()), "a type must be a table: [types." + std::string(key.str()) + "]");
    // TOML has no order of keys, so the order is that of the file.
    std::sort(catalogue_.types.begin(), catalogue_.types.end(), [](const OwnType& a, const OwnType& b) {
      return std::pair(a.at.line, a.at.column) < std::pair(b.at.line, b.at.column);
    });
    for (std::size_t i = 0; i < catalogue_.types.size(); ++i) typeOf_[catalogue_.types[i].name] = i;
  }

  void ReadType(const toml::table& table, std::string name, Position at) {
    TableReader reader(table, "a type", {"values", "text"}, findings_);
    OwnType type{std::move(name), {}, {}, DescribingText(reader, "the type"), at};
    for (PlacedText& value : reader.NeededTexts("values")) {
      type.values.push_back(std::move(value.text));
      type.valuesAt.push_back(value.at);
    }
    if (type.values.empty() && table.get_as<toml::array>("values"))
      reader.Say(reader.AtOf("values"), "a type needs at least one value");
    catalogue_.types.push_back(std::move(type));
  }

  void ReadEvent(const toml::table& table) {
    TableReader reader(table, "an event", {"name", "id", "severity", "since", "text", "attribute", "child"},
                       findings_);
    Event event;
    event.name = Name(reader, "name", Place::kEvent);
    event.at = reader.AtOf("name");
    event.id = Number(reader, "id", "1024");
    event.idAt = reader.AtOf("id");
    if (event.id == 0 && table.get_as<std::int64_t>("id"))
      reader.Say(event.idAt, "id must be a 32-bit number other than 0, which would disable all events");
    event.severity = Number(reader, "severity", "3");
    event.since = reader.Text("since");
    CheckCharacters(reader, "since", event.since);
    event.text = DescribingText(reader, "the event");
    ReadContent(reader, event, 1);
    catalogue_.events.push_back(std::move(event));
  }

  // Reads a 32-bit number. An id outside of the range is reported as such, and not as 0.
  std::int32_t Number(TableReader& reader, std::string_view key, std::string_view example) {
    const std::int64_t number = reader.NeededInteger(key, example);
    const auto cut = static_cast<std::int32_t>(number);
    if (cut == number) return cut;
    reader.Say(reader.AtOf(key), std::string(key) + " must be from -2147483648 to 2147483647");
    return 1;
  }

  std::string DescribingText(TableReader& reader, const std::string& what) {
    std::string text = reader.Text("text");
    if (text.empty()) reader.Warn(reader.AtOf("text"), what + " has no text: say for analysts what it means");
    CheckCharacters(reader, "text", text);
    return text;
  }

  void ReadContent(TableReader& reader, Content& content, std::size_t level) {
    for (const toml::table* const table : reader.Tables("attribute"))
      content.attributes.push_back(ReadAttribute(*table));
    for (const toml::table* const table : reader.Tables("child")) {
      if (level > kDeepestChild) {
        reader.Say(PositionOf(table->source()),
                   "children are nested more than " + std::to_string(kDeepestChild) + " levels deep");
        return;
      }
      content.children.push_back(ReadChild(*table, level));
    }
  }

  Attribute ReadAttribute(const toml::table& table) {
    TableReader reader(table, "an attribute", {"name", "type", "required", "sensitivity", "text", "example"},
                       findings_);
    Attribute attribute;
    attribute.name = Name(reader, "name", std::nullopt);
    attribute.at = reader.AtOf("name");
    if (const auto type = Type(reader, reader.NeededText("type"))) attribute.type = *type;
    ReadValue(reader, attribute, attribute.type, "the attribute");
    return attribute;
  }

  Child ReadChild(const toml::table& table, std::size_t level) {
    TableReader reader(
        table, "a child",
        {"name", "type", "required", "many", "sensitivity", "text", "example", "attribute", "child"},
        findings_);
    Child child;
    child.name = Name(reader, "name", level == 1 ? Place::kChildOfEvent : Place::kDeeperChild);
    child.at = reader.AtOf("name");
    if (reader.Has("type")) child.type = Type(reader, reader.Text("type"));
    child.isMany = reader.Flag("many");
    ReadValue(reader, child, child.type, "the child");
    ReadContent(reader, child, level + 1);
    return child;
  }

  // Reads what attributes and children have in common.
  template <class Field>
  void ReadValue(TableReader& reader, Field& field, std::optional<ValueType> type, const char* what) {
    field.isRequired = reader.Flag("required");
    field.sensitivity = ReadSensitivity(reader);
    field.text = DescribingText(reader, what);
    field.example = reader.Text("example");
    CheckCharacters(reader, "example", field.example);
    if (field.example.empty()) return;
    if (!type)
      reader.Say(reader.AtOf("example"), "a child without a type has no text: remove example, or add a type");
    else if (!Fits(catalogue_, *type, field.example))
      reader.Say(reader.AtOf("example"), "example must be " + FormOf(catalogue_, *type));
  }

  std::optional<ValueType> Type(TableReader& reader, const std::string& name) {
    if (const BuiltInType* const builtIn = FindBuiltInType(name)) return ValueType{builtIn->kind, 0};
    const auto own = typeOf_.find(name);
    if (own != typeOf_.end()) return ValueType{ValueKind::kOwn, own->second};
    if (reader.HasText("type"))
      reader.Say(reader.AtOf("type"),
                 "unknown type " + name + ": use " + BuiltInNames() + ", or declare [types." + name + "]");
    return std::nullopt;
  }

  static Sensitivity ReadSensitivity(TableReader& reader) {
    const std::string word = reader.Text("sensitivity");
    if (word == "personal") return Sensitivity::kPersonal;
    if (word == "secret") return Sensitivity::kSecret;
    if (word != "none" && reader.HasText("sensitivity"))
      reader.Say(reader.AtOf("sensitivity"), "sensitivity must be none, personal or secret");
    return Sensitivity::kNone;
  }

  Findings& findings_;
  Catalogue catalogue_;
  std::map<std::string, std::size_t, std::less<>> typeOf_;  // index in catalogue_.types
};

bool IsBefore(const Finding& a, const Finding& b) {
  return std::pair(a.at.line, a.at.column) < std::pair(b.at.line, b.at.column);
}

}  // namespace

bool Reading::HasErrors() const {
  return std::any_of(findings.begin(), findings.end(), [](const Finding& one) { return !one.isWarning; });
}

Reading ReadCatalogue(std::string_view toml) {
  Reading reading;
  if (toml.size() > kLargestCatalogue) {
    reading.findings.push_back({{}, false, "the file is larger than 16 MB"});
    return reading;
  }
  if (const std::optional<Position> deep = FindDeepKey(toml)) {
    reading.findings.push_back(
        {*deep, false,
         "not TOML that a catalogue needs: more than " + std::to_string(kMostDots) + " dots in a line"});
    return reading;
  }
  const toml::parse_result parsed = toml::parse(toml);
  if (!parsed) {
    reading.findings.push_back({PositionOf(parsed.error().source()), false,
                                "not TOML: " + std::string(parsed.error().description())});
    return reading;
  }
  reading.catalogue = Builder(reading.findings).Build(parsed.table());
  FindFaults(reading.catalogue, reading.findings);
  std::stable_sort(reading.findings.begin(), reading.findings.end(), IsBefore);
  return reading;
}

}  // namespace varnel::tool::catalogue
