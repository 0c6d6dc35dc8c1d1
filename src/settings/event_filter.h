#pragma once

#include "base/malloc_ptr.h"

#include <cstddef>
#include <cstdint>

namespace varnel {

// True if the agent's filter file disables the event. Reads the file at every call. False if it cannot be
// read: no agent folder, no file, another process has it open for writing, or no memory.
[[nodiscard]] bool IsEventDisabled(std::int32_t eventId) noexcept;

// Writes the filter file's path, whether or not the file exists. Returns its length in characters without the
// terminator, or 0 if the registry names no usable data folder.
constexpr std::size_t kFilterPathCapacity = 1040;  // characters
[[nodiscard]] std::size_t BuildFilterPath(wchar_t (&path)[kFilterPathCapacity]) noexcept;

// Read the file at `path` (of `length` characters), or the agent's filter file. Same results as
// ReadWholeFile.
[[nodiscard]] MallocPtr<char[]> ReadFilter(const wchar_t (&path)[kFilterPathCapacity], std::size_t length,
                                           std::uint32_t* sizeOut) noexcept;
[[nodiscard]] MallocPtr<char[]> ReadFilter(std::uint32_t* sizeOut) noexcept;

// Returns the file's bytes with a terminating zero, or null if the file is missing, empty, cannot be opened
// or does not fit into memory. Sets *sizeOut to the size in bytes only if the whole file was read.
// `narrowPath` is zero-terminated, in the thread's ANSI code page.
[[nodiscard]] MallocPtr<char[]> ReadWholeFile(const char* narrowPath, std::uint32_t* sizeOut) noexcept;

}  // namespace varnel
