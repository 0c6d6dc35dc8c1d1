#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace varnel::tool {

// The forms of a selection's values (docs/tool.md). A text of another form gives nothing.

// Returns the moment of a text like 2026-11-22, 2026-11-22T10:00, 2026-11-22 10:00:30.5Z, 15m (before `now`),
// now, today or yesterday, in GMT. A fraction is rounded up, because events have whole seconds.
[[nodiscard]] std::optional<std::chrono::sys_seconds> ParseMoment(std::string_view text,
                                                                  std::chrono::sys_seconds now);

struct NumberRange {
  std::int64_t first = std::numeric_limits<std::int64_t>::min();
  std::int64_t last = std::numeric_limits<std::int64_t>::max();
  [[nodiscard]] bool Has(std::int64_t number) const { return number >= first && number <= last; }
};
// Returns the range of a text like 3, 3.., ..5 or 2..4. The numbers have at most ten digits.
[[nodiscard]] std::optional<NumberRange> ParseRange(std::string_view text);

}  // namespace varnel::tool
