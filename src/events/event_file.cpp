// rand_s is declared only for those who ask.
#define _CRT_RAND_S
#include "events/event_file.h"

#include "base/locks.h"
#include "events/results.h"
#include "logging/log_writer.h"
#include "protection/protection_exception.h"
#include "settings/agent_settings.h"
#include "xml/errors.h"
#include "xml/file_writer.h"

#include <objbase.h>

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <string_view>

namespace varnel {
namespace {

std::wstring NewGuidFileName() {
  GUID guid{};
  CoCreateGuid(&guid);
  wchar_t braced[50] = {};
  StringFromGUID2(guid, braced, 50);
  std::wstring_view name = braced;
  if (!name.empty()) name = name.substr(1, name.size() - 2);
  return std::wstring(name) + L".xml";
}

// A file name that is taken by an empty file until the report is in it. The file goes away unless it is kept.
class ReservedFile {
 public:
  // `path` has to outlive this.
  explicit ReservedFile(const std::wstring& path) : path_(path) {
    const FileHandle file(CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    created_ = static_cast<bool>(file);
    remove_ = created_;
  }
  ~ReservedFile() {
    if (remove_) DeleteFileW(path_.c_str());
  }
  ReservedFile(const ReservedFile&) = delete;
  ReservedFile& operator=(const ReservedFile&) = delete;

  bool Created() const noexcept { return created_; }
  void Keep() noexcept { remove_ = false; }

 private:
  const std::wstring& path_;
  bool created_;
  bool remove_;
};

// By status, not by exception: a refused report is an everyday event, and the first exception of a thread
// leaves memory of the C++ runtime behind when the library is unloaded.
std::int32_t SaveWithinLimit(const std::wstring& path, const std::wstring& document) {
  return AdvXMLParser::SaveToFile(path, document, AdvXMLParser::kUtf8Encoding, nullptr, nullptr,
                                  EventSizeWithinLimit);
}

// The work under the mutex. `path` becomes the file's; `reason` says why it could not be written. It is
// logged when the mutex is free again: a console that nobody reads may hold a log line up, and no other
// process should wait for that.
HRESULT WriteServerFileUnderMutex(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex,
                                  std::wstring& path, const wchar_t*& reason) {
  ScopedProtectionException exception;  // withdrawn after the mutex is released
  const MutexLock lock(saveMutex, INFINITE);
  path = folder + (L"\\" + NewGuidFileName());
  exception.Request(path);
  CreateDirectoryW(folder, nullptr);  // it usually exists; a failure shows when the file is created
  ReservedFile file(path);
  if (!file.Created()) return kEventFileNotWritten;
  const std::int32_t status = SaveWithinLimit(path, document);
  if (status == AdvXMLParser::kSaved) {
    file.Keep();
    return S_OK;
  }
  reason = status == AdvXMLParser::kSaveRefused ? L"Event data is too large to be sent to Orba"
                                                : AdvXMLParser::GetLastErrorText();
  return kTooLargeOrNotWritten;
}

std::uint32_t RandomValue() noexcept {
  unsigned value = 0;
  return rand_s(&value) == 0 ? value : 0;
}

// The same for the agent's folder.
HRESULT WriteAgentFileUnderMutex(const std::wstring& folder, const wchar_t* extension,
                                 const std::wstring& document, HANDLE saveMutex, std::wstring& path,
                                 const wchar_t*& reason) {
  ScopedProtectionException exception;
  const MutexLock lock(saveMutex, INFINITE);
  SYSTEMTIME now;
  GetLocalTime(&now);
  path = folder + L'\\' + AgentEventFileName(now, RandomValue(), GetCurrentThreadId()) + L'.' + extension;
  exception.Request(path);
  const std::int32_t status = SaveWithinLimit(path, document);
  if (status == AdvXMLParser::kSaved) return S_OK;
  const bool tooBig = status == AdvXMLParser::kSaveRefused;
  reason = tooBig ? L"Event data too big " : AdvXMLParser::GetLastErrorText();
  DeleteFileW(path.c_str());
  return tooBig ? kTooLargeOrNotWritten : kEventFileNotWritten;
}

}  // namespace

KernelHandle OpenSaveMutex() noexcept {
  return KernelHandle(CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX"));
}

HRESULT WriteServerEventFile(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex,
                             unsigned owner) {
  std::wstring path;
  const wchar_t* reason = L"";
  const HRESULT result = WriteServerFileUnderMutex(folder, document, saveMutex, path, reason);
  if (result == kEventFileNotWritten)
    LogError(kReportFacility, L"%x couldn't create file %s", owner, path.c_str());
  else if (FAILED(result))
    LogError(kReportFacility, L"%x couldn't write to file %s:  %s", owner, path.c_str(), reason);
  return result;
}

HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension,
                            const std::wstring& document, HANDLE saveMutex) {
  std::wstring path;
  const wchar_t* reason = L"";
  const HRESULT result = WriteAgentFileUnderMutex(folder, extension, document, saveMutex, path, reason);
  if (FAILED(result)) LogError(kReportFacility, L"Failed to save event file %s. %s", path.c_str(), reason);
  return result;
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
