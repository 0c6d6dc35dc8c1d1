#pragma once

#include "logging/log_line.h"

namespace varnel {

// Prints the line to standard output; lines of several threads do not mix.
void WriteToConsole(const LogLine& line) noexcept;

// Sends the line to the trace reader, if one has opened the mailslot: a 16-byte header as one mailslot
// message, the text with its terminator as the next. Records of several threads may interleave; each message
// is whole. `processTag` is zero-terminated.
void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept;

}  // namespace varnel
