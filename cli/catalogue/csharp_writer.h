#pragma once

#include "catalogue/code_shape.h"

namespace varnel::tool::catalogue {

// Returns the C# source that declares a class for each event, for use with interop/Varnel.cs and C# 5 or
// later. The catalogue must have no errors.
[[nodiscard]] std::string WriteCSharp(const Catalogue& catalogue, const GeneratedNames& names);

}  // namespace varnel::tool::catalogue
