#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace varnel {

constexpr std::size_t kLineCapacity = 4097;  // bytes of a line's text, terminator included

// One line as every output gets it. All texts are zero-terminated ANSI and belong to the caller.
struct LogLine {
  const char* stamp;
  std::int32_t level;
  DWORD thread;
  const char* facility;
  const char* text;
};

// Writes the lines of one message to the outputs that are on; they carry the same time stamp.
class LineWriter {
 public:
  // `facility` must outlive the writer.
  LineWriter(std::int32_t level, const char* facility) noexcept;

  // `text` without line feeds.
  void Write(const char* text) const noexcept;

 private:
  std::int32_t level_;
  const char* facility_;
  char stamp_[64];
};

}  // namespace varnel
