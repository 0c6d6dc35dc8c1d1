#pragma once

#include "catalogue/code_shape.h"

namespace varnel::tool::catalogue {

// Returns the C++ header that declares a class for each event. The catalogue must have no errors.
[[nodiscard]] std::string WriteHeader(const Catalogue& catalogue, const GeneratedNames& names);

}  // namespace varnel::tool::catalogue
