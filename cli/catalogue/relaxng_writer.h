#pragma once

#include "catalogue/catalogue.h"

#include <string>

namespace varnel::tool::catalogue {

// Returns the RELAX NG schema of the product's event files: that of schema/event-document.rng, with the
// product's names and only the catalogue's events. The catalogue must have no errors.
[[nodiscard]] std::string WriteRelaxNg(const Catalogue& catalogue);

}  // namespace varnel::tool::catalogue
