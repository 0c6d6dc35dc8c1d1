#pragma once

#include <windows.h>
#include <oleauto.h>

#include <optional>
#include <string>

namespace varnel {

// The time of an event, from what callers pass to what the document carries.

// The calendar date and time of an Automation date, to the second. Nothing outside the years 100 to 9999, and
// nothing for what is not a number.
[[nodiscard]] std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept;

// "2024-03-07T09:05:03": the record as it stands, without range checks or time-zone arithmetic. Milliseconds
// and day of week are not used; a field wider than its place is written in full.
[[nodiscard]] std::wstring FormatTimeText(const SYSTEMTIME& time);

}  // namespace varnel
