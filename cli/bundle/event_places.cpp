#include "bundle/event_places.h"

#include "catalogue/catalogue_file.h"
#include "catalogue/value_types.h"

#include <algorithm>

namespace varnel::tool {
namespace {

using catalogue::Sensitivity;
using catalogue::ValueKind;

Place PlaceOfMachineFact(std::string_view name) {
  constexpr Place kPlaces[] = {{Care::kMarked, Form::kMachine}, {Care::kMarked, Form::kGuid},
                               {Care::kMarked, Form::kIp},      {Care::kText},
                               {Care::kMarked, Form::kUser},    {Care::kKeep},
                               {Care::kMarked, Form::kMac}};
  const auto found = std::find(kMachineFacts.begin(), kMachineFacts.end(), name);
  return kPlaces[found - kMachineFacts.begin()];
}

Form FormOf(ValueKind kind, Sensitivity sensitivity) {
  switch (kind) {
    case ValueKind::kInteger:
      return Form::kInteger;
    case ValueKind::kTime:
      return Form::kTime;
    case ValueKind::kGuid:
      return Form::kGuid;
    case ValueKind::kSha256:
      return Form::kSha256;
    case ValueKind::kIp:
      return Form::kIp;
    case ValueKind::kPath:
      return sensitivity == Sensitivity::kSecret ? Form::kSecret : Form::kPath;
    default:
      return sensitivity == Sensitivity::kSecret ? Form::kSecret : Form::kPersonal;
  }
}

Place PlaceOf(const catalogue::Catalogue& catalogue, catalogue::ValueType type, Sensitivity sensitivity,
              std::string_view value) {
  const bool fits = Fits(catalogue, type, value);
  const bool isMarked = sensitivity != Sensitivity::kNone;
  if (!fits) return isMarked ? Place{Care::kMarked, FormOf(ValueKind::kText, sensitivity)} : Place{};
  const Form form = FormOf(type.kind, sensitivity);
  switch (type.kind) {
    case ValueKind::kOwn:
      return {isMarked ? Care::kMarked : Care::kKeep, form, catalogue.types[type.own].values.front()};
    case ValueKind::kBoolean:
      return {isMarked ? Care::kMarked : Care::kKeep, form, "false"};
    case ValueKind::kText:
    case ValueKind::kPath:
      return {isMarked ? Care::kMarked : Care::kText, form};
    case ValueKind::kIp:
      return {Care::kMarked, form};  // every address says which machine it is
    default:
      return {isMarked ? Care::kMarked : Care::kTyped, form};
  }
}

}  // namespace

// Visits one document.
class EventPlaces::Walk {
 public:
  // `declared` is null for a product without a catalogue.
  Walk(const Declared* declared, PlaceVisitor& visitor) : declared_(declared), visitor_(visitor) {}

  void Visit(const EventDocument& document) {
    visitor_.Open(document.root, declared_ && document.root.Is(declared_->catalogue.product.root));
    for (const auto [name, value] : document.root.Attributes()) visitor_.Attribute(name, false, value, {});
    visitor_.Text(document.root.Text(), {});
    for (const Element child : document.root.Children())
      if (document.machine == child)
        VisitMachine(child);
      else if (child == document.product)
        VisitProduct(child, declared_ && child.Is(declared_->catalogue.product.element));
      else
        VisitUnknown(child);
    visitor_.Close();
  }

 private:
  void VisitMachine(const Element& machine) {
    visitor_.Open(machine, true);
    VisitOwn(machine);
    for (const Element child : machine.Children())
      if (std::any_of(kMachineFacts.begin(), kMachineFacts.end(),
                      [&](std::string_view name) { return child.Is(name); }))
        VisitFact(child, PlaceOfMachineFact(child.Name()));
      else
        VisitUnknown(child);
    visitor_.Close();
  }
  void VisitProduct(const Element& product, bool isPublic) {
    visitor_.Open(product, isPublic);
    for (const auto [name, value] : product.Attributes()) {
      const bool isFact = std::find(kProductFacts.begin(), kProductFacts.end(), name) != kProductFacts.end();
      const bool isDeclared =
          declared_ && ((name == kProductFacts[0] && value == declared_->catalogue.product.name) ||
                        (name == kProductFacts[2] && value == declared_->catalogue.product.family));
      visitor_.Attribute(name, isFact, value,
                         {isDeclared ? Care::kKeep
                          : isFact   ? Care::kName
                                     : Care::kUnknown});
    }
    visitor_.Text(product.Text(), {});
    for (const Element child : product.Children())
      if (IsEvent(child))
        VisitEvent(child);
      else
        VisitUnknown(child);
    visitor_.Close();
  }
  void VisitEvent(const Element& event) {
    const catalogue::Event* const declared = declared_ ? declared_->index.FindEvent(event.Name()) : nullptr;
    const bool isDeclared = declared && event.Is(declared->name);
    const Facts facts(event, kEventFacts);
    visitor_.Open(event, isDeclared);
    const auto visit = [&](const Element& child) {
      if (!facts.Have(child)) return false;
      VisitFact(child, {Care::kKeep});
      return true;
    };
    if (isDeclared) {
      VisitContent(event, *declared, {}, visit);
    } else {
      VisitOwn(event);
      for (const Element child : event.Children())
        if (!visit(child)) VisitUnknown(child);
    }
    visitor_.Close();
  }
  void VisitFact(const Element& fact, const Place& place) {
    visitor_.Open(fact, true);
    visitor_.Text(fact.Text(), place);
    visitor_.Close();
  }
  // Visits what the catalogue declares in an event or child; `visit` returns true for a child that it has
  // visited.
  template <class Visited>
  void VisitContent(const Element& element, const catalogue::Content& content, const Place& text,
                    Visited visit) {
    const catalogue::ContentIndex::Names& names = declared_->index.In(content);
    for (const auto [name, value] : element.Attributes()) {
      const catalogue::Attribute* const attribute = names.attributes.Find(name);
      visitor_.Attribute(name, attribute != nullptr, value,
                         attribute
                             ? PlaceOf(declared_->catalogue, attribute->type, attribute->sensitivity, value)
                             : Place{});
    }
    visitor_.Text(element.Text(), text);
    for (const Element child : element.Children())
      if (!visit(child)) VisitChild(child, names.children.Find(child.Name()));
  }
  void VisitChild(const Element& element, const catalogue::Child* child) {
    if (!child || !element.Is(child->name)) return VisitUnknown(element);
    visitor_.Open(element, true);
    const Place place = child->type
                            ? PlaceOf(declared_->catalogue, *child->type, child->sensitivity, element.Text())
                            : Place{};
    VisitContent(element, *child, place, [](const Element&) { return false; });
    visitor_.Close();
  }
  void VisitUnknown(const Element& element) {
    visitor_.Open(element, false);
    VisitOwn(element);
    for (const Element child : element.Children()) VisitUnknown(child);
    visitor_.Close();
  }
  // Visits attributes and text of which nothing is known.
  void VisitOwn(const Element& element) {
    for (const auto [name, value] : element.Attributes()) visitor_.Attribute(name, false, value, {});
    visitor_.Text(element.Text(), {});
  }

  const Declared* declared_;
  PlaceVisitor& visitor_;
};

EventPlaces::Declared::Declared(const std::string& path)
    : catalogue(catalogue::LoadCatalogue(path)), index(catalogue) {}

void EventPlaces::AddCatalogue(const std::string& path) {
  catalogues_.push_back(std::make_unique<Declared>(path));
}

void EventPlaces::Visit(const EventDocument& document, PlaceVisitor& visitor) const {
  const std::string_view product = AttributeOf(document.product, kProductFacts[0]);
  const Declared* declared = nullptr;
  for (const auto& each : catalogues_)
    if (!declared && each->catalogue.product.name == product) declared = each.get();
  Walk(declared, visitor).Visit(document);
}

}  // namespace varnel::tool
