#include "logging/trace_mailslot.h"

#include "base/windows_handles.h"
#include "logging/levels.h"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace varnel {
namespace {

constexpr wchar_t kTraceMailslot[] = L"\\\\.\\mailslot\\TarvoTrace";

// As the reader gets it, little-endian.
struct TraceHeader {
  std::uint32_t sequence;
  std::uint32_t firstConstant = 1;
  std::uint32_t secondConstant = 1;
  std::uint32_t textLength;  // bytes, terminator included
};
static_assert(sizeof(TraceHeader) == 16);

// Counts the records of the whole process; the first one carries 1.
std::atomic<std::uint32_t> g_sequence{0};

}  // namespace

void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept {
  const FileHandle mailslot(CreateFileW(kTraceMailslot, GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!mailslot) return;
  char text[400];
  std::snprintf(text, sizeof(text), "%s %c %s %4d %-8s %s", line.stamp, LevelLetter(line.level), processTag,
                static_cast<int>(line.thread), line.facility, line.text);
  const auto textLength = static_cast<std::uint32_t>(std::strlen(text)) + 1;
  const TraceHeader header{.sequence = ++g_sequence, .textLength = textLength};
  DWORD written = 0;
  WriteFile(mailslot.Get(), &header, sizeof(header), &written, nullptr);
  WriteFile(mailslot.Get(), text, textLength, &written, nullptr);
}

}  // namespace varnel
