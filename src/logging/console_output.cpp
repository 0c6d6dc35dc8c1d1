#include "logging/console_output.h"

#include "logging/levels.h"

#include <algorithm>
#include <cstdio>

namespace varnel {
namespace {

constexpr std::size_t kPrefixRoom = 128;  // stamp, letter, thread, facility and the blanks between them

}  // namespace

// One write of the finished line: the runtime's printf would go to the stream piece by piece.
void WriteToConsole(const LogLine& line) noexcept {
  char text[kPrefixRoom + kLineCapacity];
  const int length =
      std::snprintf(text, sizeof(text), "%s %c %4d %-8s %s\n", line.stamp, LevelLetter(line.level),
                    static_cast<int>(line.thread), line.facility, line.text);
  if (length > 0) std::fwrite(text, 1, std::min(static_cast<std::size_t>(length), sizeof(text) - 1), stdout);
}

}  // namespace varnel
