#pragma once

#include "catalogue/catalogue.h"

#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

struct GeneratedFile {
  std::string name;
  std::string bytes;
};

// True for a name that generated files and namespaces can have: an ASCII letter, then letters, digits and
// '_', and no keyword.
[[nodiscard]] bool IsGeneratedName(std::string_view name);

// Returns all files that are generated from a catalogue without errors: the same bytes for the same
// catalogue and name. `name` has passed IsGeneratedName.
[[nodiscard]] std::vector<GeneratedFile> GenerateFiles(const Catalogue& catalogue, std::string_view name);

// Every generated file has these words in its first kMarkWithin bytes.
constexpr std::string_view kGeneratedMark = "enerated by `varnel catalogue generate`";
constexpr std::size_t kMarkWithin = 2000;

}  // namespace varnel::tool::catalogue
