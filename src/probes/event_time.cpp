#include "probes/event_time.h"

namespace varnel {
namespace {

constexpr DATE kBelowFirst = -657'435;  // a day before 1 January 100
constexpr DATE kAfterLast = 2'958'466;  // 1 January 10000
constexpr WORD kLastYear = 9999;

}  // namespace

std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept {
  // WINE: 8 converts NaN, and rounds the last half second of 9999 into year 10000.
  if (!(date > kBelowFirst && date < kAfterLast)) return std::nullopt;
  SYSTEMTIME time{};
  if (!VariantTimeToSystemTime(date, &time) || time.wYear > kLastYear) return std::nullopt;
  return time;
}

TimeText::TimeText(const SYSTEMTIME& time) noexcept {
  wchar_t* at = text_;
  const auto put = [&](unsigned value, unsigned place, wchar_t behind) {
    while (place < 10'000 && value >= place * 10) place *= 10;
    for (; place > 0; place /= 10) *at++ = static_cast<wchar_t>(L'0' + value / place % 10);
    *at++ = behind;
  };
  put(time.wYear, 1000, L'-');
  put(time.wMonth, 10, L'-');
  put(time.wDay, 10, L'T');
  put(time.wHour, 10, L':');
  put(time.wMinute, 10, L':');
  put(time.wSecond, 10, L'\0');
}

}  // namespace varnel
