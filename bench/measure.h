#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace varnel::bench {

inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Returns the time in nanoseconds.
inline double Now() {
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return static_cast<double>(count.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart);
}

// Returns the time of one call, averaged over `times` calls.
template <class Call>
double Time(int times, Call& call) {
  const double start = Now();
  for (int i = 0; i < times; ++i) call();
  return (Now() - start) / times;
}

struct Comparison {
  double ours = 0;
  double peer = 0;
  double ratio = 0;  // our time divided by the peer's in the same round
};

// Runs both in rounds and returns the medians over the rounds. The order changes from round to round. `clean`
// runs in between and is not timed.
template <class Ours, class Peer, class Clean>
Comparison Compare(int rounds, int times, Ours ours, Peer peer, Clean clean) {
  std::vector<double> all[3];
  for (int round = -2; round < rounds; ++round) {
    double cost[2]{};
    for (const int contestant : {round & 1, ~round & 1}) {
      cost[contestant] = contestant == 0 ? Time(times, ours) : Time(times, peer);
      clean();
    }
    if (round < 0) continue;  // warm-up round
    all[0].push_back(cost[0]);
    all[1].push_back(cost[1]);
    all[2].push_back(cost[0] / cost[1]);
  }
  return {Median(all[0]), Median(all[1]), Median(all[2])};
}

template <class Ours, class Peer>
Comparison Compare(int rounds, int times, Ours ours, Peer peer) {
  return Compare(rounds, times, std::move(ours), std::move(peer), [] {});
}

// Keeps the compiler from removing the computation of a value.
inline const volatile void* volatile g_seen;
template <class T>
void Use(const T& value) {
  g_seen = &value;
}

constexpr double kInformation = 0;  // as `goal`: the ratio has no limit

// Prints one line for report.py: figure, our value, the peer's, unit, ratio and the limit of the ratio.
inline void PrintRow(const char* figure, const Comparison& result, const char* unit, double goal) {
  std::printf("%s\t%.6g\t%.6g\t%s\t%.4f\t%.4g\n", figure, result.ours, result.peer, unit, result.ratio, goal);
  std::fflush(stdout);
}

}  // namespace varnel::bench
