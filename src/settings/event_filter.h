#pragma once

#include "base/malloc_ptr.h"

#include <cstddef>
#include <cstdint>

namespace varnel {

// True if the agent's filter file lists the event. Entry 0 has no special meaning here: callers ask for
// event 0 to learn whether all reporting is off. Reads the file at every call. False if it cannot be read: no
// agent folder, no file, another process has it open for writing, or no memory.
[[nodiscard]] bool IsEventDisabled(std::int32_t eventId) noexcept;

// Writes the filter file's path, whether or not the file exists. Returns its length in characters without the
// terminator, or 0, with the buffer undefined, if the data folder cannot be read or is too long.
constexpr std::size_t kFilterPathCapacity = 1040;  // characters
[[nodiscard]] std::size_t BuildFilterPath(wchar_t (&path)[kFilterPathCapacity]) noexcept;

// Read the file at `path` (of `length` characters), or the agent's filter file. Same results as
// ReadWholeFile; null also if the path cannot be converted. By contract it is converted with the thread's
// ANSI code page, although Windows opens the file with the system's.
[[nodiscard]] MallocPtr<char[]> ReadFilter(const wchar_t (&path)[kFilterPathCapacity], std::size_t length,
                                           std::uint32_t* sizeOut) noexcept;
[[nodiscard]] MallocPtr<char[]> ReadFilter(std::uint32_t* sizeOut) noexcept;

// Returns the file's bytes with a terminating zero, or null if the file is missing, empty, cannot be opened
// or does not fit into memory. Sets *sizeOut to the size in bytes only if the whole file was read, so callers
// set it to 0 first. `narrowPath` is zero-terminated, in the system's ANSI code page.
[[nodiscard]] MallocPtr<char[]> ReadWholeFile(const char* narrowPath, std::uint32_t* sizeOut) noexcept;

}  // namespace varnel
