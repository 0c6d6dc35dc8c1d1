#include "logging/line_outputs.h"

#include "base/files.h"
#include "logging/ansi_text.h"

#include <atomic>
#include <cstdio>

namespace varnel {
namespace {

constexpr std::size_t kPrefixRoom = 128;  // bytes for stamp, letter, thread, facility and separators
std::atomic<std::uint32_t> g_sequence{0};

}  // namespace

// One write of the finished line: the runtime's printf would go to the stream piece by piece.
void WriteToConsole(const LogLine& line) noexcept {
  char text[kPrefixRoom + kLineCapacity];
  const std::size_t length =
      FormatAnsi(text, sizeof(text), "%s %c %4d %-8s %s\n", line.stamp, LevelLetter(line.level),
                 static_cast<int>(line.thread), line.facility, line.text);
  std::fwrite(text, 1, length, stdout);
}

void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept {
  const FileHandle mailslot(CreateFileW(kTraceMailslot, GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  if (!mailslot) return;
  char text[400];
  const std::size_t length =
      FormatAnsi(text, sizeof(text), "%s %c %s %4d %-8s %s", line.stamp, LevelLetter(line.level), processTag,
                 static_cast<int>(line.thread), line.facility, line.text);
  const auto textLength = static_cast<std::uint32_t>(length) + 1;
  const TraceHeader header{.sequence = ++g_sequence, .textLength = textLength};
  DWORD written = 0;
  WriteFile(mailslot.Get(), &header, sizeof(header), &written, nullptr);
  WriteFile(mailslot.Get(), text, textLength, &written, nullptr);
}

}  // namespace varnel
