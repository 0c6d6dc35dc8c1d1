#pragma once

#include "catalogue/catalogue.h"
#include "catalogue/diff_rules.h"

#include <string>
#include <vector>

namespace varnel::tool::catalogue {

// A difference between two catalogues, as one rule sees it.
struct Change {
  Rule rule;
  bool isInOld = false;  // `at` is a place in the old catalogue, not in the new one
  Position at;
  std::string text;  // what changed
};

// Returns all changes from one catalogue without faults to another, in the order of the rules' objects:
// product, types, events. Classes and files are compared separately, because a name can change in one of them
// only.
[[nodiscard]] std::vector<Change> Diff(const Catalogue& before, const Catalogue& after);

// Appends the changes of generated code. For Diff.
void DiffSource(const Catalogue& before, const Catalogue& after, std::vector<Change>& changes);

}  // namespace varnel::tool::catalogue
