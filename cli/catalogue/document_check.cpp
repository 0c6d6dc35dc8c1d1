#include "catalogue/document_check.h"

#include "catalogue/value_types.h"

#include <algorithm>
#include <set>

namespace varnel::tool::catalogue {
namespace {

template <std::size_t kCount>
bool IsOneOf(std::string_view name, const std::array<std::string_view, kCount>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

// Checks one document.
class DocumentCheck::Walk {
 public:
  Walk(const DocumentCheck& check, const Seen& seen, const Report& report)
      : check_(check), seen_(seen), report_(report) {}

  void Check(const EventDocument& document) {
    const Product& product = check_.catalogue_.product;
    path_ = product.root;  // the file's own name may be very long
    IsNamed(document.root, product.root);
    for (const Element child : document.root.Children())
      if (!(child == document.product) && !(document.machine == child)) Undeclared(child);
    if (document.machine) CheckMachine(*document.machine);
    Below(product.element, [&] {
      IsNamed(document.product, product.element);
      for (const auto [name, value] : document.product.Attributes())
        if (!IsOneOf(name, kProductFacts))
          UndeclaredAttribute(document.product, name, value);
        else if (name == kProductFacts[0])
          IsText(document.product, name, value, product.name);
        else if (name == kProductFacts[2])
          IsText(document.product, name, value, product.family);
      for (const Element child : document.product.Children())
        if (!IsEvent(child)) Undeclared(child);
    });
    path_.clear();
    for (const Element child : document.product.Children())
      if (IsEvent(child)) CheckEvent(child);
  }

 private:
  void Say(Deviates how, const Element& element, std::string path, std::string text,
           std::string_view value = {}) {
    report_({how, std::move(path), std::move(text), value, element.Offset()});
  }
  // Returns the path of something below the current element.
  std::string PathOf(std::string_view name, std::string_view mark = "/") const {
    return path_.empty() ? std::string(name) : std::string(path_).append(mark).append(name);
  }
  // Calls inner() with the path of an element below the current one.
  template <class Inner>
  void Below(std::string_view name, Inner inner) {
    const std::size_t length = path_.size();
    if (length > 0) path_ += '/';
    path_ += name;
    inner();
    path_.resize(length);
  }
  void Undeclared(const Element& element) {
    Say(Deviates::kUndeclared, element, PathOf(element.Name()), kUndeclared, element.Text());
  }
  void UndeclaredAttribute(const Element& element, std::string_view name, std::string_view value) {
    Say(Deviates::kUndeclared, element, PathOf(name, "/@"), kUndeclared, value);
  }
  void IsNamed(const Element& element, const std::string& name) {
    if (!element.Is(name)) Say(Deviates::kWrong, element, path_, "must be " + name, element.Name());
  }
  void IsText(const Element& element, std::string_view attribute, std::string_view value,
              const std::string& wanted) {
    if (value != wanted) Say(Deviates::kWrong, element, PathOf(attribute, "/@"), "must be " + wanted, value);
  }

  void CheckMachine(const Element& machine) {
    Below("MachineInfo", [&] {
      for (const auto [name, value] : machine.Attributes()) UndeclaredAttribute(machine, name, value);
      for (const Element child : machine.Children())
        if (!std::any_of(kMachineFacts.begin(), kMachineFacts.end(),
                         [&](std::string_view fact) { return child.Is(fact); }))
          Undeclared(child);
    });
  }

  void CheckEvent(const Element& element) {
    const Event* const event = check_.index_.FindEvent(element.Name());
    if (!event || !element.Is(event->name)) return Undeclared(element);
    seen_(event);
    Below(event->name, [&] {
      const Facts facts(element, kEventFacts);
      const std::int32_t numbers[] = {event->id, event->severity};
      for (std::size_t i = 0; i < 2; ++i)
        if (const std::string wanted = std::to_string(numbers[i]); facts.Text(i) != wanted)
          Say(Deviates::kWrong, element, PathOf(kEventFacts[i]), "must be " + wanted, facts.Text(i));
      CheckContent(element, *event, [&](const Element& child) { return facts.Have(child); });
    });
  }

  // Checks attributes and children, without those that are skipped.
  template <class Skip>
  void CheckContent(const Element& element, const Content& content, Skip skip) {
    const ContentIndex::Names& names = check_.index_.In(content);
    std::set<const void*> present;
    for (const auto [name, value] : element.Attributes()) {
      const Attribute* const attribute = names.attributes.Find(name);
      if (!attribute) {
        UndeclaredAttribute(element, name, value);
        continue;
      }
      present.insert(attribute);
      seen_(attribute);
      if (!Fits(check_.catalogue_, attribute->type, value))
        Say(Deviates::kWrong, element, PathOf(name, "/@"),
            "must be " + FormOf(check_.catalogue_, attribute->type), value);
    }
    for (const Element child : element.Children())
      if (!skip(child)) CheckChild(child, names, present);
    for (const Attribute& attribute : content.attributes)
      if (attribute.isRequired && !present.contains(&attribute))
        Say(Deviates::kMissing, element, PathOf(attribute.name, "/@"), kMissing);
    for (const Child& child : content.children)
      if (child.isRequired && !present.contains(&child))
        Say(Deviates::kMissing, element, PathOf(child.name), kMissing);
  }

  void CheckChild(const Element& element, const ContentIndex::Names& names, std::set<const void*>& present) {
    const Child* const child = names.children.Find(element.Name());
    if (!child || !element.Is(child->name)) return Undeclared(element);
    seen_(child);
    Below(child->name, [&] {
      if (!present.insert(child).second && !child->isMany)
        Say(Deviates::kWrong, element, path_, "must not come more than once");
      if (child->type ? !Fits(check_.catalogue_, *child->type, element.Text()) : !IsBlank(element.Text()))
        Say(Deviates::kWrong, element, path_,
            child->type ? "must be " + FormOf(check_.catalogue_, *child->type) : "must not have a text",
            element.Text());
      CheckContent(element, *child, [](const Element&) { return false; });
    });
  }

  static constexpr char kUndeclared[] = "is not in the catalogue";
  static constexpr char kMissing[] = "is required and missing";

  const DocumentCheck& check_;
  const Seen& seen_;
  const Report& report_;
  std::string path_;
};

bool DocumentCheck::IsOfProduct(const EventDocument& document) const {
  return AttributeOf(document.product, kProductFacts[0]) == catalogue_.product.name;
}

void DocumentCheck::Check(const EventDocument& document, const Seen& seen, const Report& report) const {
  Walk(*this, seen, report).Check(document);
}

}  // namespace varnel::tool::catalogue
