#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace varnel {

// Writes a report into the agent's event folder (full path without a trailing backslash, never created here)
// under a name of its own with the given extension (without a dot), while holding the save mutex. S_OK;
// kEventRefused when the report is too large; kEventFileNotWritten for every other failure. A file that
// failed is deleted. Throws std::bad_alloc.
HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension,
                            const std::wstring& document, HANDLE saveMutex);

// The file's name without extension: local time to the millisecond, a random part and the thread in
// hexadecimal.
[[nodiscard]] std::wstring AgentEventFileName(const SYSTEMTIME& localTime, std::uint32_t randomValue,
                                              DWORD thread);

}  // namespace varnel
