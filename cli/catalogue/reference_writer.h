#pragma once

#include "catalogue/catalogue.h"

#include <string>

namespace varnel::tool::catalogue {

// Returns the reference for analysts in Markdown. The catalogue must have no errors.
[[nodiscard]] std::string WriteReference(const Catalogue& catalogue);

}  // namespace varnel::tool::catalogue
