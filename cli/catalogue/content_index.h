#pragma once

#include "catalogue/by_name.h"
#include "catalogue/catalogue.h"

#include <unordered_map>

namespace varnel::tool::catalogue {

// Finds what a catalogue, which must outlive it, declares by its names.
class ContentIndex {
 public:
  struct Names {
    ByName<Attribute> attributes;
    ByName<Child> children;
  };

  explicit ContentIndex(const Catalogue& catalogue) : events_(catalogue.events) {
    for (const Event& event : catalogue.events) Add(event);
  }
  // Returns null if the catalogue has no such event.
  [[nodiscard]] const Event* FindEvent(std::string_view name) const { return events_.Find(name); }
  // Returns the names in an event or child of the catalogue.
  [[nodiscard]] const Names& In(const Content& content) const { return names_.at(&content); }

 private:
  void Add(const Content& content) {
    names_.emplace(&content, Names{ByName<Attribute>(content.attributes), ByName<Child>(content.children)});
    for (const Child& child : content.children) Add(child);
  }

  ByName<Event> events_;
  std::unordered_map<const Content*, Names> names_;
};

}  // namespace varnel::tool::catalogue
