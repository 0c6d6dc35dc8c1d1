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
#include <cstddef>
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
  const FileStep* broken = nullptr;  // the first rule that the report breaks; null if the file is written
  const wchar_t* reason = L"";
  std::optional<FileIdentity> failed{};  // the file to delete

  HRESULT Result() const noexcept { return broken ? broken->failure : S_OK; }
};

// Why the file writer could not open or write a file: the last error text and the last error.
const wchar_t* ReasonOfSystem() noexcept {
  ScopedWritePermission::NoteFailure(GetLastError());
  return AdvXMLParser::GetLastErrorText();
}

// Applies the rules in their order. `open` returns the file, or an empty owner with the last error set.
template <std::size_t kCount, class Open>
Outcome WriteByRules(const FileStep (&steps)[kCount], const wchar_t* tooLarge, const EncodedReport& report,
                     Open open) noexcept {
  FileHandle file;
  const auto whyBroken = [&](FileRule rule) noexcept -> const wchar_t* {
    switch (rule) {
      case FileRule::kEncodes:
        return report.failure;
      case FileRule::kIsSmall:
        return EventSizeWithinLimit(report.utf8.size()) ? nullptr : tooLarge;
      case FileRule::kIsOpened:
        file = open();
        return file ? nullptr : ReasonOfSystem();
      case FileRule::kIsWritten:
        break;
    }
    return AdvXMLParser::WriteText(file, report.utf8) == AdvXMLParser::kSaved ? nullptr : ReasonOfSystem();
  };
  for (const FileStep& step : steps)
    if (const wchar_t* const reason = whyBroken(step.rule))
      return {&step, reason, file ? IdentifyFile(file.Get()) : std::nullopt};
  return {};
}

// Creates the server's file. It stays open, which reserves the name, until the report is written.
FileHandle CreateServerFile(const wchar_t* folder, const std::wstring& path) noexcept {
  // The folder usually exists. A failure to make it shows when the file is created.
  const DWORD folderError = CreateDirectoryW(folder, nullptr) ? ERROR_SUCCESS : GetLastError();
  FileHandle file = OpenToWrite(path.c_str(), CREATE_NEW);
  if (!file) ScopedWritePermission::NoteFailure(folderError);
  return file;
}

FileHandle OpenAgentFile(const std::wstring& path, bool isPlain) noexcept {
  if (isPlain) return AdvXMLParser::OpenForText(path);
  AdvXMLParser::SetOpenError(ERROR_INVALID_NAME);
  return FileHandle();
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
  Outcome outcome;
  {
    ScopedWritePermission permission;  // withdrawn after the mutex is released
    {
      const MutexLock lock(saveMutex, INFINITE);
      permission.Request(path);
      outcome = WriteByRules(kServerFileSteps, kServerTooLarge, report,
                             [&]() noexcept { return CreateServerFile(folder, path); });
    }
    if (outcome.failed) DeleteFileIfStill(path.c_str(), *outcome.failed);
  }
  if (outcome.broken && outcome.broken->rule == FileRule::kIsOpened)
    LogError(kReportFacility, kServerNotCreated, owner, path.c_str());
  else if (outcome.broken)
    LogError(kReportFacility, kServerNotWritten, owner, path.c_str(), outcome.reason);
  return outcome.Result();
}

HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension, const EncodedReport& report,
                            HANDLE saveMutex) {
  const bool isPlain = IsPlainExtension(extension);
  std::wstring path;
  Outcome outcome;
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
      outcome = WriteByRules(kAgentFileSteps, kAgentTooLarge, report,
                             [&]() noexcept { return OpenAgentFile(path, isPlain); });
    }
    if (outcome.failed) DeleteFileIfStill(path.c_str(), *outcome.failed);
  }
  if (outcome.broken) LogError(kReportFacility, kAgentNotSaved, path.c_str(), outcome.reason);
  return outcome.Result();
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
