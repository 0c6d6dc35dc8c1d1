#pragma once

#include "catalogue/catalogue_reader.h"

#include <string>

namespace varnel::tool::catalogue {

// Reads the catalogue in a file. `path` is an argument of the command line. Throws Failure if the file cannot
// be read.
[[nodiscard]] Reading ReadCatalogueFile(const std::string& path);

// Returns the catalogue in a file. Throws Failure with the first error if it has one.
[[nodiscard]] Catalogue LoadCatalogue(const std::string& path);

// Returns the line for a finding, without a line end: file, line, column, what is wrong.
[[nodiscard]] std::string Describe(const std::string& path, const Finding& finding);

}  // namespace varnel::tool::catalogue
