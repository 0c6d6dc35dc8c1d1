#pragma once

#include "base/handles.h"
#include "xml/document.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace varnel {

constexpr wchar_t kSaveMutexName[] = L"ORBAEVTINFMUTEX";

// The mutex that every instance of this library in the logon session shares: one event file is written at a
// time. Empty when the system does not give it; files are then written all the same.
[[nodiscard]] KernelHandle OpenSaveMutex() noexcept;

// Loads the library in which Windows finds the random numbers of file names, from the system's folder. While
// the caller holds it, neither saver below makes Windows look for one in the host's folder. Empty where
// there is none. Throws as LoadSystemLibrary.
[[nodiscard]] LoadedLibrary LoadRandomNumbers();

// A report as it goes into a file.
struct EncodedReport {
  std::unique_ptr<char[]> bytes;
  std::string_view utf8;             // in there
  const wchar_t* failure = nullptr;  // why there are no bytes; lives as long as the library
};

// The document's bytes. Made before the save mutex is taken: only work on the file itself happens under it.
[[nodiscard]] EncodedReport EncodeReport(const AdvXMLParser::Document& document);

// Writes a report as a new file, named by a fresh GUID, into the folder of the server's event parser (full
// path, made when missing) while holding the save mutex. `owner` is the identity of the event object, for log
// lines. S_OK; VARNEL_E_NOT_WRITTEN when the file cannot be created; VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN when
// it is too large or cannot be written. Until all of it is written others can read the file, and not move,
// delete or replace it. A file that failed is deleted, unless its path leads to another one by then.
HRESULT WriteServerEventFile(const wchar_t* folder, const EncodedReport& report, HANDLE saveMutex,
                             unsigned owner);

// Writes a report into the agent's event folder (full path without a trailing backslash, never created here)
// under a name of its own with the given extension (without a dot), while holding the save mutex. S_OK;
// VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN when the report is too large; VARNEL_E_NOT_WRITTEN for every other
// failure, an extension that is more than the end of a name among them. Files are shared and deleted as the
// server's.
HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension, const EncodedReport& report,
                            HANDLE saveMutex);

// A name for the server's file: a fresh GUID without braces, with its extension.
[[nodiscard]] std::wstring ServerEventFileName();

// The agent's file name without extension: local time to the millisecond, a random part and the thread in
// hexadecimal.
[[nodiscard]] std::wstring AgentEventFileName(const SYSTEMTIME& localTime, std::uint32_t randomValue,
                                              DWORD thread);

}  // namespace varnel
