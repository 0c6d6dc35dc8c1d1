// Part of <varnel/varnel.hpp>: the times of events.
#pragma once

#include <chrono>
#include <varnel/cpp/result.hpp>

namespace varnel::detail {

// Of any precision: that of the system's clock does not reach all the years of a DATE.
template <class Duration>
using SystemTime = std::chrono::time_point<std::chrono::system_clock, Duration>;

// Whole seconds, cut: an event is not reported before it has happened.
template <class Duration>
HRESULT ToDate(SystemTime<Duration> time, DATE& date) noexcept {
  constexpr long long kSecondsOfDay = 86400;
  constexpr long long kUnixEpoch = 25569;  // in days of Automation, which have their zero on 30 December 1899
  constexpr long long kYear100 = -657434;
  constexpr long long kYear10000 = 2958466;
  constexpr long long kFirst = (kYear100 - kUnixEpoch) * kSecondsOfDay;
  constexpr long long kEnd = (kYear10000 - kUnixEpoch) * kSecondsOfDay;
  using Seconds = std::chrono::duration<long long>;
  // Compared roughly first: what is far away does not fit into Seconds.
  const double rough = std::chrono::duration<double>(time.time_since_epoch()).count();
  if (!(rough > static_cast<double>(kFirst - 60) && rough < static_cast<double>(kEnd + 60))) return kBadTime;
  const long long seconds = std::chrono::floor<Seconds>(time.time_since_epoch()).count();
  if (seconds < kFirst || seconds >= kEnd) return kBadTime;
  const long long since = seconds + kUnixEpoch * kSecondsOfDay;
  const long long day = since / kSecondsOfDay - (since % kSecondsOfDay < 0 ? 1 : 0);
  const double part = static_cast<double>(since - day * kSecondsOfDay) / static_cast<double>(kSecondsOfDay);
  // Before the zero the time of day counts away from it.
  date = static_cast<double>(day) + (day < 0 ? -part : part);
  return S_OK;
}

}  // namespace varnel::detail
