// The header declares rand_s only with this macro.
#define _CRT_RAND_S
#include "events/event_file.h"

#include "base/files.h"
#include "base/locks.h"
#include "base/process_identity.h"
#include "base/system_library.h"
#include "events/report_rules.h"
#include "logging/log_writer.h"
#include "protection/write_permission.h"
#include "settings/agent_settings.h"
#include "varnel/varnel.h"
#include "xml/errors.h"
#include "xml/file_writer.h"

#include <objbase.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace varnel {
namespace {

std::uint32_t RandomValue() noexcept {
  unsigned value = 0;
  return rand_s(&value) == 0 ? value : 0;
}

// False for an extension that leads out of the folder, or to an alternate data stream.
bool IsPlainExtension(std::wstring_view extension) noexcept {
  return std::none_of(extension.begin(), extension.end(), [](wchar_t unit) {
    return unit < L' ' || unit == L'\\' || unit == L'/' || unit == L':';
  });
}

// The outcome of writing a file under the save mutex. Logging and deleting wait until the mutex is released:
// a console without a reader may block the log line, and an opportunistic lock on the file its deletion, for
// which no other process should wait.
struct Outcome {
  HRESULT result;
  const wchar_t* reason = L"";
  std::optional<FileIdentity> failed{};  // the file to delete
};

// Why the file writer could not open or write a file: the last error text and the last error.
const wchar_t* ReasonOfSystem() noexcept {
  ScopedWritePermission::NoteFailure(GetLastError());
  return AdvXMLParser::GetLastErrorText();
}

// The handle stays open from the creation, which reserves the name, until the report is written.
Outcome WriteServerFile(const wchar_t* folder, const std::wstring& path,
                        const EncodedReport& report) noexcept {
  // The folder usually exists. A failure to make it shows when the file is created.
  const DWORD folderError = CreateDirectoryW(folder, nullptr) ? ERROR_SUCCESS : GetLastError();
  const FileHandle file = OpenToWrite(path.c_str(), CREATE_NEW);
  if (!file) {
    ScopedWritePermission::NoteFailure(GetLastError());
    ScopedWritePermission::NoteFailure(folderError);
    return {VARNEL_E_NOT_WRITTEN};
  }
  Outcome outcome{VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN};
  if (report.failure)
    outcome.reason = report.failure;
  else if (!EventSizeWithinLimit(report.utf8.size()))
    outcome.reason = kServerTooLarge;
  else if (AdvXMLParser::WriteText(file, report.utf8) == AdvXMLParser::kSaved)
    return {S_OK};
  else
    outcome.reason = ReasonOfSystem();
  outcome.failed = IdentifyFile(file.Get());
  return outcome;
}

Outcome WriteAgentFile(const std::wstring& path, bool isPlain, const EncodedReport& report) noexcept {
  if (report.failure) return {VARNEL_E_NOT_WRITTEN, report.failure};
  if (!EventSizeWithinLimit(report.utf8.size())) return {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, kAgentTooLarge};
  FileHandle file;
  if (isPlain)
    file = AdvXMLParser::OpenForText(path);
  else
    AdvXMLParser::SetOpenError(ERROR_INVALID_NAME);
  if (file && AdvXMLParser::WriteText(file, report.utf8) == AdvXMLParser::kSaved) return {S_OK};
  return {VARNEL_E_NOT_WRITTEN, ReasonOfSystem(), file ? IdentifyFile(file.Get()) : std::nullopt};
}

}  // namespace

KernelHandle OpenSaveMutex() noexcept {
  KernelHandle mutex(CreateMutexW(nullptr, FALSE, kSaveMutexName));
  // Creating asks for every right. Waiting and releasing need one, which its owner may have granted to all.
  if (!mutex) mutex.Reset(OpenMutexW(SYNCHRONIZE, FALSE, kSaveMutexName));
  return mutex;
}

// WINDOWS 7 and later: rand_s and CoCreateGuid end in advapi32's SystemFunction036, which is forwarded to
// CRYPTBASE.dll. That is not among the KnownDLLs, so at its first use Windows would look for it by name, in
// the host's folder first.
LoadedLibrary LoadRandomNumbers() {
  constexpr wchar_t kName[] = L"cryptbase.dll";
  DWORD identityError = ERROR_SUCCESS;
  LoadedLibrary library = LoadSystemLibrary(kName, &identityError);
  if (identityError != ERROR_SUCCESS)
    LogError(kReportFacility, L"%s not loaded: %s (0x%08X)", kName, kNoProcessIdentity, identityError);
  return library;
}

EncodedReport EncodeReport(const AdvXMLParser::Document& document) {
  EncodedReport report;
  if (auto direct = document.ToUtf8(); direct.bytes) {
    report.bytes = std::move(direct.bytes);
    report.utf8 = {report.bytes.get(), direct.size};
    return report;
  }
  std::string converted;
  if (AdvXMLParser::ToUtf8(document.ToString(false), converted) != AdvXMLParser::kSaved) {
    report.failure = AdvXMLParser::GetLastErrorText();
    return report;
  }
  report.bytes = std::make_unique_for_overwrite<char[]>(converted.size());
  report.utf8 = {report.bytes.get(), converted.copy(report.bytes.get(), converted.size())};
  return report;
}

HRESULT WriteServerEventFile(const wchar_t* folder, const EncodedReport& report, HANDLE saveMutex,
                             unsigned owner) {
  const std::wstring path = folder + (L"\\" + ServerEventFileName());
  Outcome outcome{VARNEL_E_NOT_WRITTEN};
  {
    ScopedWritePermission permission;  // withdrawn after the mutex is released
    {
      const MutexLock lock(saveMutex, INFINITE);
      permission.Request(path);
      outcome = WriteServerFile(folder, path, report);
    }
    if (outcome.failed) DeleteFileIfStill(path.c_str(), *outcome.failed);
  }
  if (outcome.result == VARNEL_E_NOT_WRITTEN)
    LogError(kReportFacility, kServerNotCreated, owner, path.c_str());
  else if (FAILED(outcome.result))
    LogError(kReportFacility, kServerNotWritten, owner, path.c_str(), outcome.reason);
  return outcome.result;
}

HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension, const EncodedReport& report,
                            HANDLE saveMutex) {
  const bool isPlain = IsPlainExtension(extension);
  std::wstring path;
  Outcome outcome{VARNEL_E_NOT_WRITTEN};
  // May run the loader, which must not be waited for under the mutex.
  const std::uint32_t random = RandomValue();
  {
    ScopedWritePermission permission;
    {
      const MutexLock lock(saveMutex, INFINITE);
      SYSTEMTIME now;
      GetLocalTime(&now);
      path = folder + L'\\' + AgentEventFileName(now, random, GetCurrentThreadId()) + L'.' + extension;
      if (isPlain) permission.Request(path);
      outcome = WriteAgentFile(path, isPlain, report);
    }
    if (outcome.failed) DeleteFileIfStill(path.c_str(), *outcome.failed);
  }
  if (FAILED(outcome.result)) LogError(kReportFacility, kAgentNotSaved, path.c_str(), outcome.reason);
  return outcome.result;
}

std::wstring ServerEventFileName() {
  GUID guid{};
  CoCreateGuid(&guid);
  wchar_t braced[50] = {};
  StringFromGUID2(guid, braced, 50);
  std::wstring_view name = braced;
  if (!name.empty()) name = name.substr(1, name.size() - 2);
  return std::wstring(name) + L".xml";
}

std::wstring AgentEventFileName(const SYSTEMTIME& localTime, std::uint32_t randomValue, DWORD thread) {
  // 1 to 10001: the largest random value gives five digits, which readers of the folder accept.
  const auto randomPart = static_cast<unsigned>(randomValue / 4294967295.0 * 10000.0) + 1;
  wchar_t name[260];
  _snwprintf(name, 260, L"%04d%02d%02d%02d%02d%02d%03d%04u%08X", localTime.wYear, localTime.wMonth,
             localTime.wDay, localTime.wHour, localTime.wMinute, localTime.wSecond, localTime.wMilliseconds,
             randomPart, static_cast<unsigned>(thread));
  return name;
}

}  // namespace varnel
