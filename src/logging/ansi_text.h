#pragma once

#include <cstddef>

namespace varnel {

// Converts zero-terminated wide text with the system's ANSI code page into `buffer` of `capacity` bytes (at
// least 1), cutting it between characters where it does not fit. Characters that the code page lacks become
// its default character. Always zero-terminated. Returns the length in bytes without the terminator. Never
// fails, uses no heap.
std::size_t ToAnsi(const wchar_t* text, char* buffer, std::size_t capacity) noexcept;

// printf into `buffer` of `capacity` bytes (at least 1), cut where it does not fit. By the system's C
// runtime, as all log lines are formatted. Always zero-terminated. Returns the length in bytes without the
// terminator.
std::size_t FormatAnsi(char* buffer, std::size_t capacity, const char* format, ...) noexcept;

}  // namespace varnel
