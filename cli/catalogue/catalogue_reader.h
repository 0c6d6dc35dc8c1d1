#pragma once

#include "catalogue/catalogue.h"

#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

// The result of reading a catalogue.
struct Reading {
  Catalogue catalogue;            // complete if there is no error; otherwise do not use it
  std::vector<Finding> findings;  // errors and warnings, in the order of the file
  [[nodiscard]] bool HasErrors() const;
};

// Reads a catalogue and finds all its faults, by the rules of docs/catalogue.md. A file that is not TOML has
// one fault, the first. Time grows with n log n for any file of n bytes.
[[nodiscard]] Reading ReadCatalogue(std::string_view toml);

// In bytes; ReadCatalogue refuses larger files.
constexpr std::size_t kLargestCatalogue = 16 * 1024 * 1024;
// Levels of children below an event. XML readers stop at 255 levels; no report needs half as many.
constexpr std::size_t kDeepestChild = 16;

}  // namespace varnel::tool::catalogue
