#pragma once

#include <windows.h>
#include <oleauto.h>

#include <optional>

namespace varnel {

// Converts an Automation date into a calendar date and time, rounded to the second. Returns nothing for a
// year outside 100 to 9999 and for NaN.
[[nodiscard]] std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept;

// The text of a date and time in event files: "2024-03-07T09:05:03". Fields are neither checked nor converted
// to another time zone; a number with more digits than its place is written in full. Milliseconds and day of
// week are not used.
class TimeText {
 public:
  explicit TimeText(const SYSTEMTIME& time) noexcept;
  // Zero-terminated.
  const wchar_t* c_str() const noexcept { return text_; }

 private:
  wchar_t text_[6 * 6];  // six fields of at most five digits, each with its separator
};

}  // namespace varnel
