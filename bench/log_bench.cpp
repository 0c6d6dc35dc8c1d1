// What a log line costs its caller. Figures go to standard error, the lines themselves to standard output:
// redirect it to a file, a device would be measured instead.

#include "logging/log_settings.h"
#include "logging/log_writer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace {

constexpr int kRepeats = 21;

// The median of the repeats, in nanoseconds a call.
template <class Call>
double Measure(int calls, Call call) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> costs;
  for (int repeat = 0; repeat < kRepeats; ++repeat) {
    const auto start = Clock::now();
    for (int i = 0; i < calls; ++i) call();
    costs.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls);
  }
  std::nth_element(costs.begin(), costs.begin() + kRepeats / 2, costs.end());
  return costs[kRepeats / 2];
}

void LogOnce() {
  varnel::LogDetail(L"Quorvel", L"%x CreateEventElement %s|%d|%d", 0xCA5F60, L"MalwareDetected", 1024, 3);
}

}  // namespace

int main() {
  std::fprintf(stderr, "dropped, no detail list   %8.1f ns\n", Measure(1'000'000, LogOnce));
  varnel::SetLogDetailList("one;two;three");
  std::fprintf(stderr, "dropped, not in the list  %8.1f ns\n", Measure(100'000, LogOnce));
  varnel::SetLogLevel(8);
  std::fprintf(stderr, "passed, no output         %8.1f ns\n", Measure(20'000, LogOnce));
  varnel::SetConsoleLogging(1);
  std::fprintf(stderr, "passed, console           %8.1f ns\n", Measure(2'000, LogOnce));
  varnel::EnableTraceMailslot();
  std::fprintf(stderr, "passed, console and trace without a reader %8.1f ns\n", Measure(2'000, LogOnce));
  return 0;
}
