#pragma once

#include "logging/log_line.h"

namespace varnel {

// docs/settings.md shows the lines of both outputs.

// Created by the trace viewer; without a viewer, no record is sent.
constexpr wchar_t kTraceMailslot[] = L"\\\\.\\mailslot\\TarvoTrace";

// The header of a trace record as the mailslot carries it, little endian.
struct TraceHeader {
  std::uint32_t sequence;  // number of the record in this process; the first one is 1
  std::uint32_t firstConstant = 1;
  std::uint32_t secondConstant = 1;
  std::uint32_t textLength;  // bytes, terminator included
};
static_assert(sizeof(TraceHeader) == 16);

// Prints the line to standard output in one write, so that lines of several threads do not mix.
void WriteToConsole(const LogLine& line) noexcept;

// Sends the line to the trace viewer, if there is one, as two mailslot messages: the header, then the text
// with its terminator, cut to 400 bytes. Messages of several threads may interleave. `processTag` is
// zero-terminated.
void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept;

}  // namespace varnel
