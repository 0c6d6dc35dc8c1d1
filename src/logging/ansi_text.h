#pragma once

#include <cstddef>

namespace varnel {

// Converts zero-terminated wide text with the system's ANSI code page into `buffer` of `capacity` bytes (at
// least 1). Text that does not fit is cut after a whole character; a character that the code page lacks
// becomes a similar one or the code page's default character. The result is always terminated. Returns its
// length in bytes without the terminator. Cannot fail and does not use the heap.
std::size_t ToAnsi(const wchar_t* text, char* buffer, std::size_t capacity) noexcept;

// Like snprintf, but with the format language of the system's C runtime, which defines our log lines. Writes
// into `buffer` of `capacity` bytes (at least 1), cuts what does not fit and always terminates. Returns the
// length in bytes without the terminator.
std::size_t FormatAnsi(char* buffer, std::size_t capacity, const char* format, ...) noexcept;

}  // namespace varnel
