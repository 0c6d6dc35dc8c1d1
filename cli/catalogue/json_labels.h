#pragma once

#include "catalogue/catalogue.h"

#include <optional>
#include <string>
#include <vector>

namespace varnel::tool::catalogue {

// A label of `varnel show --json` that a value of an event becomes.
struct Label {
  std::string name;               // of the first value; further ones get a number at the end
  std::optional<ValueType> type;  // without a type the label is empty
  bool isAlways = false;          // true if every event of this kind has it
  std::string text;               // what it means
};

// Returns the labels of an event, in the order of the catalogue. Different values may share a name.
[[nodiscard]] std::vector<Label> LabelsOf(const Event& event);

}  // namespace varnel::tool::catalogue
