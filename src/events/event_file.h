#pragma once

#include "base/handles.h"
#include "xml/document.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace varnel {

constexpr wchar_t kSaveMutexName[] = L"ORBAEVTINFMUTEX";

// Opens the mutex that every instance of this library in the logon session shares, so that one event file is
// written at a time. Returns an empty owner if Windows refuses it; files are then written all the same.
[[nodiscard]] KernelHandle OpenSaveMutex() noexcept;

// Loads the library from which Windows takes the random numbers of file names, from the system folder. While
// the caller holds it, the savers below do not make Windows search the host's folder for it. Returns an empty
// owner if it does not exist, or if the thread cannot act as its process, which is logged at level 5. Throws
// like LoadSystemLibrary.
[[nodiscard]] LoadedLibrary LoadRandomNumbers();

// The bytes of a report.
struct EncodedReport {
  std::unique_ptr<char[]> bytes;
  std::string_view utf8;  // a view of `bytes`
  // The reason if there are no bytes; the savers then log it and fail. Lives as long as the library.
  const wchar_t* failure = nullptr;
};

// Returns the document's bytes. To be called before the save mutex is taken, which covers work on the file
// only.
[[nodiscard]] EncodedReport EncodeReport(const AdvXMLParser::Document& document);

// Writes a report as a new file, named by a fresh GUID, into the folder of the server's event parser (full
// path; the folder is created if its parent exists) while holding the save mutex. Waits for the mutex without
// a time limit, and writes without one if it is null. `owner` is the event object's number in log lines.
// Returns S_OK; VARNEL_E_NOT_WRITTEN if the file cannot be created; VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN if the
// report is too large or cannot be written. Until the file is complete, other processes can read it, but not
// move, delete or replace it. If writing fails, deletes the file, unless its path then leads to another file.
// Throws HResultError if the thread cannot impersonate its user again.
HRESULT WriteServerEventFile(const wchar_t* folder, const EncodedReport& report, HANDLE saveMutex,
                             unsigned owner);

// Writes a report into the agent's event folder (full path without a trailing backslash, never created here)
// under a unique name with the given extension (without a dot), while holding the save mutex. Returns S_OK;
// VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN if the report is too large; VARNEL_E_NOT_WRITTEN for any other failure,
// such as an extension that is more than the end of a file name. Waiting, sharing, deleting and exceptions
// are as in WriteServerEventFile.
HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension, const EncodedReport& report,
                            HANDLE saveMutex);

// Returns a name for the server's file: a fresh GUID without braces, with the extension ".xml".
[[nodiscard]] std::wstring ServerEventFileName();

// Returns a name for the agent's file, without extension: the digits of the local time to the millisecond,
// `randomValue` scaled to a decimal number from 0001 to 10001, and the thread identifier as eight hexadecimal
// digits.
[[nodiscard]] std::wstring AgentEventFileName(const SYSTEMTIME& localTime, std::uint32_t randomValue,
                                              DWORD thread);

}  // namespace varnel
