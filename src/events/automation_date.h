#pragma once

#include <windows.h>
#include <oleauto.h>

#include <optional>

namespace varnel {

// The calendar date and time of an Automation date, to the second. Nothing outside the years 100 to 9999, and
// nothing for what is not a number.
[[nodiscard]] std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept;

}  // namespace varnel
