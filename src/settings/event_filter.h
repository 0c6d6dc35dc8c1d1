#pragma once

#include "base/malloc_ptr.h"

#include <cstddef>
#include <cstdint>

namespace varnel {

// Whether the agent's filter file disables the event. The file is read afresh at every call; whatever keeps
// it from being read (no agent folder, no file, another process writing it, no memory) means that the event
// is not disabled.
[[nodiscard]] bool IsEventDisabled(std::int32_t eventId) noexcept;

// The filter file's path, whether there is such a file or not; its length in characters, or 0 when there is
// no usable agent folder.
constexpr std::size_t kFilterPathCapacity = 1040;  // characters
[[nodiscard]] std::size_t BuildFilterPath(wchar_t (&path)[kFilterPathCapacity]) noexcept;

// The text of the file under that path, or of the agent's filter file, as ReadWholeFile has it.
[[nodiscard]] MallocPtr<char[]> ReadFilter(const wchar_t (&path)[kFilterPathCapacity], std::size_t length,
                                           std::uint32_t* sizeOut) noexcept;
[[nodiscard]] MallocPtr<char[]> ReadFilter(std::uint32_t* sizeOut) noexcept;

// The file's bytes and a terminating zero, or null when it is missing, empty or cannot be opened or held.
// *sizeOut is set to the size in bytes only when the whole file was read. `narrowPath` is in the thread's
// ANSI code page.
[[nodiscard]] MallocPtr<char[]> ReadWholeFile(const char* narrowPath, std::uint32_t* sizeOut) noexcept;

}  // namespace varnel
