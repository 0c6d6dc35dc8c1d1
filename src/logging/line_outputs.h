#pragma once

#include "logging/log_line.h"

namespace varnel {

// The one who reads the trace makes it.
constexpr wchar_t kTraceMailslot[] = L"\\\\.\\mailslot\\TarvoTrace";

// As the reader gets it, little-endian.
struct TraceHeader {
  std::uint32_t sequence;  // counts the records of a process from 1 on
  std::uint32_t firstConstant = 1;
  std::uint32_t secondConstant = 1;
  std::uint32_t textLength;  // bytes, terminator included
};
static_assert(sizeof(TraceHeader) == 16);

// Prints the line to standard output; lines of several threads do not mix.
void WriteToConsole(const LogLine& line) noexcept;

// Sends the line to the trace reader, if one has opened the mailslot: a 16-byte header as one mailslot
// message, the text with its terminator as the next. Records of several threads may interleave; each message
// is whole. `processTag` is zero-terminated.
void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept;

}  // namespace varnel
