#include "console/console.h"

#include "console/streams.h"

#include <utility>

namespace varnel::tool {
namespace {

// True while the current line of standard error is a line of Progress.
bool g_progress = false;

void WipeProgress() {
  if (std::exchange(g_progress, false)) Write(Stream::kErrors, "\r                              \r");
}

}  // namespace

Progress::~Progress() {
  WipeProgress();
}

void Progress::Next() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kBetween(200);
  ++done_;
  const Clock::time_point now = Clock::now();
  if (shown_ == Clock::time_point()) shown_ = now;
  if (now - shown_ < kBetween || !IsTerminal(Stream::kErrors)) return;
  shown_ = now;
  g_progress =
      Write(Stream::kErrors, "\r" + std::to_string(done_) + " of " + std::to_string(total_)).isWritten;
}

void Print(std::string_view utf8) {
  WipeProgress();
  const WriteResult result = Write(Stream::kOutput, utf8);
  if (result.isWritten) return;
  if (result.isClosed) throw OutputClosed();
  throw Failure("the output cannot be written: " + DescribeError(result.error));
}

void PrintError(std::string_view utf8) {
  WipeProgress();
  Write(Stream::kErrors, "varnel: " + std::string(utf8) + "\n");
}

}  // namespace varnel::tool
