// rand_s is declared only for those who ask.
#define _CRT_RAND_S
#include "events/event_file.h"

#include "base/files.h"
#include "base/locks.h"
#include "events/save_lines.h"
#include "logging/log_writer.h"
#include "protection/protection_exception.h"
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

// Whether an extension leads out of the folder, or to a part of a file that no listing shows.
bool IsNoPlainName(std::wstring_view extension) noexcept {
  return std::any_of(extension.begin(), extension.end(), [](wchar_t unit) {
    return unit < L' ' || unit == L'\\' || unit == L'/' || unit == L':';
  });
}

// Takes the name of a new file. Nothing when the file cannot be created.
std::optional<FileIdentity> Reserve(const std::wstring& path) noexcept {
  FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  if (!file) return std::nullopt;
  const auto identity = IdentifyFile(file.Get());
  if (identity) return identity;
  file.Reset();
  DeleteFileW(path.c_str());
  return std::nullopt;
}

// The reserved file, or nothing, with the last error set, when its name now stands for another one or another
// name for it.
FileHandle OpenReserved(const std::wstring& path, const FileIdentity& reserved) noexcept {
  FileHandle file = OpenToWrite(path.c_str(), OPEN_EXISTING);
  if (!file) return file;
  const auto found = IdentifyFile(file.Get());
  if (found == reserved && found->created == reserved.created && found->isPlain && found->isEmpty)
    return file;
  SetLastError(ERROR_ACCESS_DENIED);
  return FileHandle();
}

// What became of a file under the mutex. It is logged when the mutex is free again: a console that nobody
// reads may hold a log line up, and no other process should wait for that.
struct Outcome {
  HRESULT result;
  const wchar_t* reason = L"";
};

Outcome FillReserved(const std::wstring& path, const FileIdentity& reserved,
                     const EncodedReport& report) noexcept {
  const FileHandle file = OpenReserved(path, reserved);
  if (!file) AdvXMLParser::SetOpenError(GetLastError());
  Outcome outcome{VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN};
  if (report.failure)
    outcome.reason = report.failure;
  else if (!EventSizeWithinLimit(report.utf8.size()))
    outcome.reason = kServerTooLarge;
  else if (file && AdvXMLParser::WriteText(file, report.utf8) == AdvXMLParser::kSaved)
    return {S_OK};
  else
    outcome.reason = AdvXMLParser::GetLastErrorText();
  DeleteFileIfStill(path.c_str(), reserved);
  return outcome;
}

Outcome FillAgentFile(const std::wstring& path, const EncodedReport& report) noexcept {
  if (report.failure) return {VARNEL_E_NOT_WRITTEN, report.failure};
  if (!EventSizeWithinLimit(report.utf8.size())) return {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, kAgentTooLarge};
  const FileHandle file = AdvXMLParser::OpenForText(path);
  if (file && AdvXMLParser::WriteText(file, report.utf8) == AdvXMLParser::kSaved) return {S_OK};
  if (const auto identity = file ? IdentifyFile(file.Get()) : std::nullopt)
    DeleteFileIfStill(path.c_str(), *identity);
  return {VARNEL_E_NOT_WRITTEN, AdvXMLParser::GetLastErrorText()};
}

}  // namespace

KernelHandle OpenSaveMutex() noexcept {
  KernelHandle mutex(CreateMutexW(nullptr, FALSE, kSaveMutexName));
  // Creating asks for every right. Waiting and releasing need one, which its owner may have granted to all.
  if (!mutex) mutex.Reset(OpenMutexW(SYNCHRONIZE, FALSE, kSaveMutexName));
  return mutex;
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
    ScopedProtectionException exception;  // withdrawn after the mutex is released
    const MutexLock lock(saveMutex, INFINITE);
    exception.Request(path);
    CreateDirectoryW(folder, nullptr);  // it usually exists; a failure shows when the file is created
    if (const auto reserved = Reserve(path)) outcome = FillReserved(path, *reserved, report);
  }
  if (outcome.result == VARNEL_E_NOT_WRITTEN)
    LogError(kReportFacility, kServerNotCreated, owner, path.c_str());
  else if (FAILED(outcome.result))
    LogError(kReportFacility, kServerNotWritten, owner, path.c_str(), outcome.reason);
  return outcome.result;
}

HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension, const EncodedReport& report,
                            HANDLE saveMutex) {
  std::wstring path;
  Outcome outcome{VARNEL_E_NOT_WRITTEN};
  // May load a library, which must not be waited for under the mutex.
  const std::uint32_t random = RandomValue();
  {
    ScopedProtectionException exception;
    const MutexLock lock(saveMutex, INFINITE);
    SYSTEMTIME now;
    GetLocalTime(&now);
    path = folder + L'\\' + AgentEventFileName(now, random, GetCurrentThreadId()) + L'.' + extension;
    if (IsNoPlainName(extension)) {
      AdvXMLParser::SetOpenError(ERROR_INVALID_NAME);
      outcome.reason = AdvXMLParser::GetLastErrorText();
    } else {
      exception.Request(path);
      outcome = FillAgentFile(path, report);
    }
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
