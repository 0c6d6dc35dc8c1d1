#include "catalogue/coverage.h"

#include "eventfile/event_labels.h"
#include "eventfile/event_rules.h"

#include <algorithm>

namespace varnel::tool::catalogue {

void Coverage::Add(const EventDocument& document) {
  if (!check_.IsOfProduct(document)) {
    ++others_;
    return;
  }
  for (const Element child : document.product.Children())
    if (IsEvent(child)) ++events_;
  const std::string file = document.FileName();
  for (const Fault& fault : FindFaults(document.root, 1))
    Note({Deviates::kWrong, "event file", std::string(Cut(fault.text)), {}, fault.at}, file);
  check_.Check(
      document, [this](const void* declared) { ++seen_[declared]; },
      [&](const Deviation& deviation) { Note(deviation, file); });
}

void Coverage::Note(const Deviation& deviation, const std::string& file) {
  const std::pair key(std::string(Cut(deviation.path)), deviation.text);
  auto row = rows_.find(key);
  if (row == rows_.end()) {
    if (rows_.size() == kMostRows) {
      ++more_;
      return;
    }
    row = rows_
              .emplace(key,
                       Row{deviation.how, key.first, key.second, 0, std::string(Cut(deviation.value)), file})
              .first;
  }
  ++row->second.count;
}

std::size_t Coverage::CountOf(const void* declared) const {
  const auto found = seen_.find(declared);
  return found == seen_.end() ? 0 : found->second;
}

void Coverage::AddDeclared(const Content& content, const std::string& path, bool isPossible,
                           std::vector<Declared>& items) const {
  for (const Attribute& attribute : content.attributes)
    items.push_back({path + "/@" + attribute.name, CountOf(&attribute), isPossible});
  for (const Child& child : content.children) {
    const std::size_t count = CountOf(&child);
    items.push_back({path + "/" + child.name, count, isPossible});
    AddDeclared(child, path + "/" + child.name, count > 0, items);
  }
}

std::vector<Coverage::Declared> Coverage::DeclaredItems() const {
  std::vector<Declared> items;
  for (const Event& event : catalogue_.events) {
    const std::size_t count = CountOf(&event);
    items.push_back({event.name, count, true});
    AddDeclared(event, event.name, count > 0, items);
  }
  return items;
}

std::vector<Coverage::Row> Coverage::Rows() const {
  std::vector<Row> rows;
  for (const auto& [key, row] : rows_) rows.push_back(row);
  return rows;
}

}  // namespace varnel::tool::catalogue
