#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

namespace varnel::tool::catalogue {

// Finds items of a list, which must not change meanwhile, by their names.
template <class Item>
class ByName {
 public:
  explicit ByName(const std::vector<Item>& items) {
    items_.reserve(items.size());
    for (const Item& item : items) items_.emplace(item.name, &item);
  }
  // Returns null for a name that no item has.
  [[nodiscard]] const Item* Find(std::string_view name) const {
    const auto found = items_.find(name);
    return found == items_.end() ? nullptr : found->second;
  }

 private:
  std::unordered_map<std::string_view, const Item*> items_;
};

}  // namespace varnel::tool::catalogue
