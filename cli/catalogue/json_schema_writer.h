#pragma once

#include "catalogue/catalogue.h"

#include <string>

namespace varnel::tool::catalogue {

// Returns the JSON Schema (draft 7) of the lines that `varnel show --json` prints for the product's events.
// The catalogue must have no errors.
[[nodiscard]] std::string WriteJsonSchema(const Catalogue& catalogue);

}  // namespace varnel::tool::catalogue
