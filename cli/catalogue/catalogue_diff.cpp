#include "catalogue/catalogue_diff.h"

#include "catalogue/by_name.h"
#include "catalogue/names.h"
#include "catalogue/value_types.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

namespace varnel::tool::catalogue {
namespace {

// True if two lists have the names that both have in the same order.
template <class Item>
bool HaveSameOrder(const std::vector<Item>& before, const std::vector<Item>& after) {
  const ByName<Item> inBefore(before), inAfter(after);
  const auto namesIn = [](const std::vector<Item>& items, const ByName<Item>& others) {
    std::vector<std::string_view> names;
    for (const Item& item : items)
      if (others.Find(item.name)) names.push_back(item.name);
    return names;
  };
  return namesIn(before, inAfter) == namesIn(after, inBefore);
}

// Compares what event files and the reference have.
class FilesDiff {
 public:
  FilesDiff(const Catalogue& before, const Catalogue& after, std::vector<Change>& changes)
      : before_(before), after_(after), changes_(changes) {}

  void CompareProduct() {
    const auto compare = [&](Rule rule, const char* key, const std::string& was, const std::string& is) {
      if (was != is)
        Say(rule, after_.product.at, std::string(key) + " is \"" + is + "\" instead of \"" + was + "\"");
    };
    const Product &was = before_.product, &is = after_.product;
    compare(Rule::kSoftwareId, "software_id", was.softwareId, is.softwareId);
    compare(Rule::kProduct, "root", was.root, is.root);
    compare(Rule::kProduct, "element", was.element, is.element);
    compare(Rule::kProduct, "name", was.name, is.name);
    compare(Rule::kProduct, "family", was.family, is.family);
  }

  void CompareEvents() {
    std::map<std::int32_t, const Event*> ofIdentifier;
    for (const Event& event : before_.events) ofIdentifier.emplace(event.id, &event);
    const ByName<Event> events(before_.events), now(after_.events);
    for (const Event& event : before_.events)
      if (!now.Find(event.name)) SayOld(Rule::kEventGone, event.at, event.name);
    for (const Event& event : after_.events) {
      const auto owner = ofIdentifier.find(event.id);
      if (owner != ofIdentifier.end() && owner->second->name != event.name)
        Say(Rule::kIdentifierTaken, event.idAt,
            event.name + ": " + std::to_string(event.id) + " was " + owner->second->name);
      if (const Event* const was = events.Find(event.name))
        CompareEvent(*was, event);
      else
        Say(Rule::kAdded, event.at, event.name);
    }
    if (!HaveSameOrder(before_.events, after_.events)) Say(Rule::kOrder, after_.product.at, "events");
  }

  // Call it last: a value that is gone matters only to files that have it.
  void CompareTypes() {
    const ByName<OwnType> types(before_.types);
    for (const OwnType& type : after_.types)
      if (const OwnType* const was = types.Find(type.name))
        CompareType(*was, type);
      else
        Say(Rule::kAdded, type.at, "type " + type.name);
    if (!HaveSameOrder(before_.types, after_.types)) Say(Rule::kOrder, after_.product.at, "types");
  }

 private:
  void Say(Rule rule, Position at, std::string text) {
    changes_.push_back({rule, false, at, std::move(text)});
  }
  void SayOld(Rule rule, Position at, std::string text) {
    changes_.push_back({rule, true, at, std::move(text)});
  }

  void CompareType(const OwnType& was, const OwnType& is) {
    const std::set<std::string_view> before(was.values.begin(), was.values.end()),
        after(is.values.begin(), is.values.end());
    std::vector<std::string_view> kept, now;
    for (std::size_t i = 0; i < was.values.size(); ++i)
      if (after.contains(was.values[i]))
        kept.push_back(was.values[i]);
      else if (narrowed_.contains(&is))
        SayOld(Rule::kValueGone, was.valuesAt[i], was.name + ": " + was.values[i]);
    for (std::size_t i = 0; i < is.values.size(); ++i)
      if (before.contains(is.values[i]))
        now.push_back(is.values[i]);
      else
        Say(Rule::kAdded, is.valuesAt[i], is.name + ": " + is.values[i]);
    if (kept != now) Say(Rule::kOrder, is.at, "values of " + is.name);
    if (was.text != is.text) Say(Rule::kDescription, is.at, is.name + ": text");
  }

  void CompareEvent(const Event& was, const Event& is) {
    const auto number = [&](Rule rule, Position at, std::int32_t before, std::int32_t after) {
      if (before != after)
        Say(rule, at, is.name + ": " + std::to_string(after) + " was " + std::to_string(before));
    };
    number(Rule::kIdentifier, is.idAt, was.id, is.id);
    number(Rule::kSeverity, is.at, was.severity, is.severity);
    std::string differs;
    if (was.text != is.text) differs = "text";
    if (was.since != is.since) differs += differs.empty() ? "since" : ", since";
    if (!differs.empty()) Say(Rule::kDescription, is.at, is.name + ": " + differs);
    CompareContent(was, is, is.name);
  }

  void CompareContent(const Content& was, const Content& is, const std::string& path) {
    CompareItems(was.attributes, is.attributes, path, "/@",
                 [this](const Attribute& one, const Attribute& other, const std::string& name) {
                   CompareValue(one, one.type, other, other.type, name);
                 });
    CompareItems(was.children, is.children, path, "/",
                 [this](const Child& one, const Child& other, const std::string& name) {
                   CompareValue(one, one.type, other, other.type, name);
                   if (one.isMany && !other.isMany) Say(Rule::kOnce, other.at, name);
                   if (!one.isMany && other.isMany)
                     Say(Rule::kLooser, other.at, name + " may come several times");
                   CompareContent(one, other, name);
                 });
  }

  // Calls compare(before, after, path) for the items that both have.
  template <class Item, class Compare>
  void CompareItems(const std::vector<Item>& was, const std::vector<Item>& is, const std::string& path,
                    const char* mark, Compare compare) {
    const ByName<Item> before(was), after(is);
    for (const Item& item : was)
      if (!after.Find(item.name)) SayOld(Rule::kGone, item.at, path + mark + item.name);
    for (const Item& item : is) {
      const std::string name = path + mark + item.name;
      const Item* const old = before.Find(item.name);
      if (!old)
        Say(item.isRequired ? Rule::kRequired : Rule::kAdded, item.at, name);
      else
        compare(*old, item, name);
    }
    if (!HaveSameOrder(was, is)) Say(Rule::kOrder, is.front().at, "of " + path + mark + "...");
  }

  // Compares what attributes and children have in common.
  template <class Field>
  void CompareValue(const Field& was, std::optional<ValueType> before, const Field& is,
                    std::optional<ValueType> after, const std::string& path) {
    if (!was.isRequired && is.isRequired) Say(Rule::kRequired, is.at, path);
    if (was.isRequired && !is.isRequired) Say(Rule::kLooser, is.at, path + " may be missing");
    if (!FitsAll(before, after))
      Say(Rule::kType, is.at,
          path + (after ? " must now be " + FormOf(after_, *after) : std::string(" must now have no text")));
    std::string differs;
    const auto add = [&](bool differ, const char* what) {
      if (differ) differs.append(differs.empty() ? "" : ", ").append(what);
    };
    add(was.text != is.text, "text");
    add(was.sensitivity != is.sensitivity, "sensitivity");
    add(was.example != is.example, "example");
    add(Name(before_, before) != Name(after_, after), "type");
    if (!differs.empty()) Say(Rule::kDescription, is.at, path + ": " + differs);
  }
  static std::string_view Name(const Catalogue& catalogue, std::optional<ValueType> type) {
    return type ? NameOf(catalogue, *type) : std::string_view();
  }

  static bool IsAnyText(ValueType type) {
    return type.kind == ValueKind::kText || type.kind == ValueKind::kPath;
  }

  // True if each text of one type is one of the other. A type of the catalogue's own that keeps its name
  // counts as such: CompareType reports the values that it has lost.
  bool FitsAll(std::optional<ValueType> before, std::optional<ValueType> after) {
    if (!before || !after) return !before && (!after || IsAnyText(*after));
    if (IsAnyText(*after)) return true;
    if (before->kind != ValueKind::kOwn)
      return before->kind == after->kind || (before->kind == ValueKind::kBoolean &&
                                             Fits(after_, *after, "true") && Fits(after_, *after, "false"));
    const OwnType& was = before_.types[before->own];
    if (after->kind == ValueKind::kOwn && after_.types[after->own].name == was.name) {
      narrowed_.insert(&after_.types[after->own]);
      return true;
    }
    return std::all_of(was.values.begin(), was.values.end(),
                       [&](const std::string& value) { return Fits(after_, *after, value); });
  }

  const Catalogue& before_;
  const Catalogue& after_;
  std::vector<Change>& changes_;
  std::set<const OwnType*> narrowed_;  // types of `after_` whose values are in files
};

}  // namespace

std::vector<Change> Diff(const Catalogue& before, const Catalogue& after) {
  std::vector<Change> changes;
  FilesDiff files(before, after, changes);
  files.CompareProduct();
  DiffSource(before, after, changes);
  files.CompareEvents();
  files.CompareTypes();
  return changes;
}

}  // namespace varnel::tool::catalogue
