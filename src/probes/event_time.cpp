#include "probes/event_time.h"

namespace varnel {
namespace {

constexpr DATE kBelowFirst = -657'435;  // a day before 1 January 100
constexpr DATE kAfterLast = 2'958'466;  // 1 January 10000
constexpr WORD kLastYear = 9999;

}  // namespace

std::optional<SYSTEMTIME> SystemTimeFromDate(DATE date) noexcept {
  // Not every system's conversion refuses what lies outside, or NaN, or a last second that rounds into year
  // 10000.
  if (!(date > kBelowFirst && date < kAfterLast)) return std::nullopt;
  SYSTEMTIME time{};
  if (!VariantTimeToSystemTime(date, &time) || time.wYear > kLastYear) return std::nullopt;
  return time;
}

std::wstring FormatTimeText(const SYSTEMTIME& time) {
  wchar_t text[260];
  wsprintfW(text, L"%04d-%02d-%02dT%02d:%02d:%02d", time.wYear, time.wMonth, time.wDay, time.wHour,
            time.wMinute, time.wSecond);
  return text;
}

}  // namespace varnel
