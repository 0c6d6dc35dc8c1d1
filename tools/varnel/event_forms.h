#pragma once

#include <string_view>

namespace varnel::tool {

// The forms in which the library writes its own values (docs/event-format.md).

// 32 bits in the shortest form.
[[nodiscard]] bool IsNumber(std::string_view text);
// To the second, from the year 100 to 9999; not the zeros that stand for a date that is none.
[[nodiscard]] bool IsTime(std::string_view text);
// Twelve lower-case hexadecimal digits.
[[nodiscard]] bool IsHardwareAddress(std::string_view text);

constexpr std::string_view kNoTime = "0000-00-00T00:00:00";

}  // namespace varnel::tool
