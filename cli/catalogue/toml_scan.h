#pragma once

#include "catalogue/catalogue.h"

#include <optional>
#include <string_view>

namespace varnel::tool::catalogue {

// Refuses more dots than this in one line outside of texts. Keys of very many parts make very deep tables,
// which the parser frees by recursion.
constexpr std::size_t kMostDots = 32;
// Returns the place of the first dot too many.
[[nodiscard]] std::optional<Position> FindDeepKey(std::string_view toml);

}  // namespace varnel::tool::catalogue
