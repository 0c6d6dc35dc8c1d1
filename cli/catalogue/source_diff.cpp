#include "catalogue/catalogue_diff.h"
#include "catalogue/code_shape.h"
#include "catalogue/names.h"
#include "catalogue/value_types.h"

#include <algorithm>
#include <map>
#include <set>

namespace varnel::tool::catalogue {
namespace {

using Kind = Member::Kind;

// A class of generated code.
struct Class {
  const Catalogue& catalogue;
  std::string name;  // with the classes around it
  Position at;
  std::vector<Member> members;

  // Returns the type of a member's value in words.
  [[nodiscard]] std::string TypeOf(const Member& member) const {
    if (member.kind == Kind::kChild) return member.className;
    const std::string type(NameOf(catalogue, member.type));
    return member.type.kind == ValueKind::kOwn ? ClassName(type) : type;
  }
};

bool HasSetter(const Member& member) {
  return !member.isRequired || member.isMany;
}
std::string SetterOf(const Member& member) {
  return (member.isMany ? "Add" : "Set") + member.codeName;
}

class SourceDiff {
 public:
  SourceDiff(const Catalogue& before, const Catalogue& after, std::vector<Change>& changes)
      : before_(before), after_(after), changes_(changes) {}

  void Compare() {
    std::map<std::string, const OwnType*> types;
    for (const OwnType& type : after_.types) types.emplace(ClassName(type.name), &type);
    for (const OwnType& type : before_.types) CompareType(type, types);
    std::map<std::string, const Event*> events;
    for (const Event& event : after_.events) events.emplace(ClassName(event.name), &event);
    for (const Event& event : before_.events) {
      const std::string name = ClassName(event.name);
      const auto found = events.find(name);
      if (found == events.end())
        SayGone(name, event.at);
      else
        CompareClass({before_, name, event.at, MembersOf(event, nullptr, name)},
                     {after_, name, found->second->at, MembersOf(*found->second, nullptr, name)});
    }
  }

 private:
  void SayGone(const std::string& name, Position at) {
    changes_.push_back({Rule::kClassGone, true, at, name});
  }
  void Say(Rule rule, const Class& after, std::string text) {
    changes_.push_back({rule, false, after.at, after.name + text});
  }

  void CompareType(const OwnType& before, const std::map<std::string, const OwnType*>& types) {
    const std::string name = ClassName(before.name);
    const auto after = types.find(name);
    if (after == types.end()) return SayGone(name, before.at);
    std::set<std::string> enumerators;
    for (const std::string& value : after->second->values) enumerators.insert(ClassName(value));
    for (std::size_t i = 0; i < before.values.size(); ++i)
      if (const std::string enumerator = ClassName(before.values[i]); !enumerators.contains(enumerator))
        changes_.push_back({Rule::kEnumeratorGone, true, before.valuesAt[i], name + "::k" + enumerator});
  }

  void CompareClass(const Class& before, const Class& after) {
    CompareConstructors(before, after);
    for (const Member& member : before.members) {
      if (member.kind != Kind::kChild || CompareChild(before, member, after))
        CompareSetter(before, member, after);
    }
  }

  // Returns false if the class of the child is gone.
  bool CompareChild(const Class& before, const Member& member, const Class& after) {
    const std::string name = before.name + "::" + member.className;
    const auto same = std::find_if(after.members.begin(), after.members.end(), [&](const Member& other) {
      return other.kind == Kind::kChild && other.className == member.className;
    });
    if (same == after.members.end()) {
      SayGone(name, member.child->at);
      return false;
    }
    CompareClass({before_, name, member.child->at, MembersOf(*member.child, member.child, member.className)},
                 {after_, name, same->child->at, MembersOf(*same->child, same->child, same->className)});
    return true;
  }

  void CompareSetter(const Class& before, const Member& member, const Class& after) {
    if (!HasSetter(member)) return;
    const std::string setter = SetterOf(member), type = before.TypeOf(member);
    for (const Member& other : after.members) {
      if (!HasSetter(other) || SetterOf(other) != setter) continue;
      if (const std::string now = after.TypeOf(other); now != type)
        Say(Rule::kSetter, after, "::" + setter + " takes " + now + " instead of " + type);
      return;
    }
    Say(Rule::kSetter, after, " has no " + setter + "(" + type + ") any more");
  }

  static std::vector<const Member*> ParametersOf(const Class& one) {
    std::vector<const Member*> parameters;
    for (const Member& member : one.members)
      if (member.isRequired) parameters.push_back(&member);
    return parameters;
  }
  static std::string Words(const Class& one, const std::vector<const Member*>& parameters) {
    std::string words;
    for (const Member* const member : parameters)
      words += (words.empty() ? "" : ", ") + one.TypeOf(*member) + (member->isMany ? "... " : " ") +
               member->variable;
    return "(" + words + ")";
  }

  // An argument of the same type for another field still compiles, and reports the value under the other
  // name; so the fields must be the same too.
  void CompareConstructors(const Class& before, const Class& after) {
    const std::vector<const Member*> was = ParametersOf(before), is = ParametersOf(after);
    const auto takes = [&](const Member* one, const Member* other) {
      return one->className == other->className && before.TypeOf(*one) == after.TypeOf(*other) &&
             (one->isMany == other->isMany || other->isMany);  // a list takes a single child too
    };
    if (!std::equal(was.begin(), was.end(), is.begin(), is.end(), takes))
      Say(Rule::kConstructor, after, Words(after, is) + " was " + Words(before, was));
  }

  const Catalogue& before_;
  const Catalogue& after_;
  std::vector<Change>& changes_;
};

}  // namespace

void DiffSource(const Catalogue& before, const Catalogue& after, std::vector<Change>& changes) {
  SourceDiff(before, after, changes).Compare();
}

}  // namespace varnel::tool::catalogue
