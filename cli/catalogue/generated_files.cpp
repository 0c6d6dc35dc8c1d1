#include "catalogue/generated_files.h"

#include "catalogue/csharp_writer.h"
#include "catalogue/header_writer.h"
#include "catalogue/json_schema_writer.h"
#include "catalogue/names.h"
#include "catalogue/reference_writer.h"
#include "catalogue/relaxng_writer.h"

#include <algorithm>

namespace varnel::tool::catalogue {

bool IsGeneratedName(std::string_view name) {
  constexpr std::size_t kLongest = 60;
  constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
  if (name.empty() || name.size() > kLongest || name.find_first_not_of(kAllowed) != name.npos) return false;
  // Two underscores, and one at an end, are the compiler's.
  if (name.front() == '_' || name.back() == '_' || name.find("__") != name.npos) return false;
  if (name.front() >= '0' && name.front() <= '9') return false;
  const std::string space = GeneratedNames(name).space;
  return space != "std" && space != "varnel" && space != "field" && !IsKeyword(space);
}

std::vector<GeneratedFile> GenerateFiles(const Catalogue& catalogue, std::string_view name) {
  const GeneratedNames names(name);
  return {{names.header, WriteHeader(catalogue, names)},
          {names.csharp, WriteCSharp(catalogue, names)},
          {names.relaxNg, WriteRelaxNg(catalogue)},
          {names.schema, WriteJsonSchema(catalogue)},
          {names.reference, WriteReference(catalogue)}};
}

}  // namespace varnel::tool::catalogue
