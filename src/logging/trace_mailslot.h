#pragma once

#include "logging/line_writer.h"

namespace varnel {

// Sends the line to the trace reader, if one has opened the mailslot: a 16-byte header as one mailslot
// message, the text with its terminator as the next. Records of several threads may interleave; each message
// is whole.
void WriteToTraceMailslot(const LogLine& line, const char* processTag) noexcept;

}  // namespace varnel
