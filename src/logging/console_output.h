#pragma once

#include "logging/line_writer.h"

namespace varnel {

// Prints the line to standard output; lines of several threads do not mix.
void WriteToConsole(const LogLine& line) noexcept;

}  // namespace varnel
