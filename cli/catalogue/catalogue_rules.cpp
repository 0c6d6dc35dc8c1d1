#include "catalogue/catalogue_rules.h"

#include "catalogue/names.h"
#include "catalogue/value_types.h"
#include "console/utf8.h"
#include "eventfile/xml_characters.h"

#include <map>
#include <set>

namespace varnel::tool::catalogue {
namespace {

// The members of every generated class, and the names of every generated namespace.
constexpr std::string_view kMembers[] = {"AddTo",         "TryAddTo",       "Add",
                                         "Set",           "EventName",      "EventId",
                                         "EventSeverity", "EventCatalogue", "CatalogueText"};
constexpr std::string_view kVariables[] = {"visitor"};
constexpr std::string_view kFunctions[] = {"DescribeProduct",
                                           "TextOf",
                                           "EventCatalogue",
                                           "CatalogueText",
                                           "ArgumentException",
                                           "ArgumentNullException",
                                           "COMException",
                                           "CultureInfo",
                                           "DateTime",
                                           "DateTimeKind",
                                           "Guid",
                                           "IEnumerable",
                                           "IEventElement",
                                           "IPAddress",
                                           "List",
                                           "OrbaEventInf",
                                           "StringBuilder",
                                           "Varnel"};

class Rules {
 public:
  Rules(const Catalogue& catalogue, std::vector<Finding>& findings)
      : catalogue_(catalogue), findings_(findings), isUsed_(catalogue.types.size()) {}

  void Check() {
    Scope scope(*this, kFunctions);
    for (const OwnType& type : catalogue_.types) CheckType(type, scope);
    std::map<std::int32_t, const Event*> withId;
    for (const Event& event : catalogue_.events) {
      const auto [other, isNew] = withId.emplace(event.id, &event);
      if (!isNew && event.id != 0)
        Say(event.idAt, "id " + std::to_string(event.id) + " is that of " + other->second->name +
                            " in line " + std::to_string(other->second->at.line) +
                            ": give each event its own");
      const std::string className = ClassName(event.name);
      scope.Add(event.name, className, event.at);
      CheckContent(event, className);
    }
    for (std::size_t i = 0; i < catalogue_.types.size(); ++i)
      if (!isUsed_[i])
        findings_.push_back(
            {catalogue_.types[i].at, true,
             "no attribute or child has the type " + catalogue_.types[i].name + ": use it or remove it"});
  }

 private:
  // The names of one scope of generated code.
  class Scope {
   public:
    template <std::size_t kCount>
    Scope(Rules& rules, const std::string_view (&taken)[kCount]) : rules_(rules) {
      for (const std::string_view name : taken) ownerOf_.emplace(name, std::string());
    }
    // Adds a name of generated code; `name` is the one in the catalogue. Reports a name that the scope has
    // already, and returns false.
    bool Add(const std::string& name, const std::string& codeName, Position at) {
      if (codeName.empty()) return true;  // reported where it was read
      const auto [other, isNew] = ownerOf_.emplace(codeName, name);
      if (isNew) return true;
      if (other->second == name)
        rules_.Say(at, "the name " + name + " is there twice: rename or remove one");
      else if (other->second.empty())
        rules_.Say(at, "generated code uses the name " + codeName + " itself: rename " + name);
      else
        rules_.Say(at, "generated code calls " + name + " and " + other->second + " both " + codeName +
                           ": rename one");
      return false;
    }

   private:
    Rules& rules_;
    std::map<std::string, std::string, std::less<>> ownerOf_;  // name in the catalogue, by name in the code
  };

  void Say(Position at, std::string text) { findings_.push_back({at, false, std::move(text)}); }

  void CheckType(const OwnType& type, Scope& scope) {
    if (FindBuiltInType(type.name))
      return Say(type.at, type.name + " is a built-in type: choose another name");
    const std::string className = ClassName(type.name);
    if (className.empty() || !IsXmlName(type.name))
      return Say(type.at, "a type's name must be an XML name with an ASCII letter or digit: rename it");
    scope.Add(type.name, className, type.at);
    constexpr std::string_view kNone[] = {""};
    Scope values(*this, kNone);
    for (std::size_t i = 0; i < type.values.size(); ++i) {
      const std::string& value = type.values[i];
      if (!IsOneLine(value) || value.starts_with(' ') || value.ends_with(' '))
        Say(type.valuesAt[i], "a value must be one line without blanks at its ends");
      else if (ClassName(value).empty())
        Say(type.valuesAt[i],
            "generated code has no name for this value: use an ASCII letter or digit in it");
      else
        values.Add(value, ClassName(value), type.valuesAt[i]);
    }
  }

  // Attributes and children of one element share the names of setters, and of labels in JSON.
  void CheckContent(const Content& content, const std::string& className) {
    Scope fields(*this, kVariables), members(*this, kMembers), variables(*this, kVariables);
    members.Add(className, className, {});
    const auto add = [&](const std::string& name, Position at) {
      return fields.Add(name, ClassName(name), at) && variables.Add(name, VariableName(name), at);
    };
    for (const Attribute& attribute : content.attributes) {
      Use(attribute.type);
      if (add(attribute.name, attribute.at))
        members.Add(attribute.name, "Set" + ClassName(attribute.name), attribute.at);
    }
    for (const Child& child : content.children) {
      if (child.type) Use(*child.type);
      if (add(child.name, child.at)) CheckChild(child, className, members);
    }
  }

  void CheckChild(const Child& child, const std::string& parentClass, Scope& members) {
    const std::string className = ChildClassName(child.name, parentClass);
    members.Add(child.name + "'s class", className, child.at);
    members.Add(child.name, (child.isMany ? "Add" : "Set") + ClassName(child.name), child.at);
    CheckContent(child, className);
  }

  void Use(ValueType type) {
    if (type.kind == ValueKind::kOwn) isUsed_[type.own] = true;
  }

  const Catalogue& catalogue_;
  std::vector<Finding>& findings_;
  std::vector<bool> isUsed_;  // for each own type
};

}  // namespace

void FindFaults(const Catalogue& catalogue, std::vector<Finding>& findings) {
  Rules(catalogue, findings).Check();
}

bool IsOneLine(std::string_view utf8) {
  while (!utf8.empty()) {
    const Decoded next = DecodeUtf8(utf8);
    const bool isControl = next.code < 0x20 || (next.code >= 0x7F && next.code < 0xA0) ||
                           next.code == 0x2028 || next.code == 0x2029;
    if (!next.isValid || isControl || !IsXmlCharacter(next.code)) return false;
    utf8.remove_prefix(next.length);
  }
  return true;
}

}  // namespace varnel::tool::catalogue
