#pragma once

#include <windows.h>
#include <oleauto.h>

#include <optional>

namespace varnel {

// The time of an event, from what callers pass to what the document carries.

// The calendar date and time of an Automation date, to the second. Nothing outside the years 100 to 9999, and
// nothing for what is not a number.
[[nodiscard]] std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept;

// "2024-03-07T09:05:03": the record as it stands, without range checks or time-zone arithmetic. Milliseconds
// and day of week are not used; a field wider than its place is written in full.
class TimeText {
 public:
  explicit TimeText(const SYSTEMTIME& time) noexcept;
  // Zero-terminated.
  const wchar_t* c_str() const noexcept { return text_; }

 private:
  wchar_t text_[6 * 6];  // six fields of at most five digits, each with what follows it
};

}  // namespace varnel
