#pragma once

#include <windows.h>

#include <string>

namespace varnel {

// Writes a report as a new file, named by a fresh GUID, into the folder of the server's event parser (full
// path, made when missing) while holding the save mutex. `owner` is the identity of the event object, for log
// lines. S_OK; kEventFileNotWritten when the file cannot be created; kEventRefused when it is too large or
// cannot be written, and then no file is left. Throws std::bad_alloc, leaving no file either.
HRESULT WriteServerEventFile(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex,
                             unsigned owner);

}  // namespace varnel
