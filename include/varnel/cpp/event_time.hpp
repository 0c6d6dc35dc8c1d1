// Part of <varnel/varnel.hpp>: the times of events.
#pragma once

#include <chrono>
#include <varnel/cpp/result.hpp>

namespace varnel::detail {

// A time point of any precision. The system clock's own precision does not cover all years of a DATE.
template <class Duration>
using SystemTime = std::chrono::time_point<std::chrono::system_clock, Duration>;

// Converts to an Automation date in whole seconds, rounded down, so that no event is reported before it has
// happened. Returns kBadTime outside of the years 100 to 9999.
template <class Duration>
HRESULT ToDate(SystemTime<Duration> time, DATE& date) noexcept {
  constexpr long long kSecondsOfDay = 86400;
  constexpr long long kUnixEpoch = 25569;  // in days since 30 December 1899, the zero of a DATE
  constexpr long long kYear100 = -657434;
  constexpr long long kYear10000 = 2958466;
  constexpr long long kFirst = (kYear100 - kUnixEpoch) * kSecondsOfDay;
  constexpr long long kEnd = (kYear10000 - kUnixEpoch) * kSecondsOfDay;
  using Seconds = std::chrono::duration<long long>;
  // Compares as floating point first, because a time far outside of the range does not fit into Seconds.
  const double rough = std::chrono::duration<double>(time.time_since_epoch()).count();
  if (!(rough > static_cast<double>(kFirst - 60) && rough < static_cast<double>(kEnd + 60))) return kBadTime;
  const long long seconds = std::chrono::floor<Seconds>(time.time_since_epoch()).count();
  if (seconds < kFirst || seconds >= kEnd) return kBadTime;
  const long long since = seconds + kUnixEpoch * kSecondsOfDay;
  const long long day = since / kSecondsOfDay - (since % kSecondsOfDay < 0 ? 1 : 0);
  const double part = static_cast<double>(since - day * kSecondsOfDay) / static_cast<double>(kSecondsOfDay);
  // In a negative DATE the time of day is subtracted: -1.25 is 6:00 on day -1.
  date = static_cast<double>(day) + (day < 0 ? -part : part);
  return S_OK;
}

}  // namespace varnel::detail
