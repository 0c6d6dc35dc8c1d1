// rand_s is declared only for those who ask.
#define _CRT_RAND_S
#include "events/agent_event_file.h"

#include "events/failure_reason.h"
#include "events/identity.h"
#include "events/result_codes.h"
#include "events/save_mutex.h"
#include "logging/log_writer.h"
#include "protection/protection_exception.h"
#include "settings/agent_settings.h"
#include "xml/file_writer.h"
#include "xml/last_error.h"

#include <cstdlib>
#include <cwchar>

namespace varnel {
namespace {

std::uint32_t RandomValue() noexcept {
  unsigned value = 0;
  return rand_s(&value) == 0 ? value : 0;
}

// The work under the mutex. `path` becomes the file's; `reason` says why it could not be written.
HRESULT WriteInTurn(const std::wstring& folder, const wchar_t* extension, const std::wstring& document,
                    HANDLE saveMutex, std::wstring& path, FailureReason& reason) {
  ScopedProtectionException exception;  // withdrawn after the mutex is released
  const SaveMutexLock lock(saveMutex);
  SYSTEMTIME now;
  GetLocalTime(&now);
  path = folder + L'\\' + AgentEventFileName(now, RandomValue(), GetCurrentThreadId()) + L'.' + extension;
  exception.Request(path);
  const std::int32_t status = AdvXMLParser::SaveToFile(path, document, AdvXMLParser::kUtf8Encoding, nullptr,
                                                       nullptr, EventSizeWithinLimit);
  if (status == AdvXMLParser::kSaved) return S_OK;
  const bool tooBig = status == AdvXMLParser::kSaveRefused;
  reason.Set(tooBig ? L"Event data too big " : AdvXMLParser::GetLastErrorText());
  DeleteFileW(path.c_str());
  return tooBig ? kEventRefused : kEventFileNotWritten;
}

}  // namespace

std::wstring AgentEventFileName(const SYSTEMTIME& localTime, std::uint32_t randomValue, DWORD thread) {
  // 1 to 10001: the largest random value gives five digits, which readers of the folder accept.
  const auto randomPart = static_cast<unsigned>(randomValue / 4294967295.0 * 10000.0) + 1;
  wchar_t name[260];
  _snwprintf(name, 260, L"%04d%02d%02d%02d%02d%02d%03d%04u%08X", localTime.wYear, localTime.wMonth,
             localTime.wDay, localTime.wHour, localTime.wMinute, localTime.wSecond, localTime.wMilliseconds,
             randomPart, static_cast<unsigned>(thread));
  return name;
}

HRESULT WriteAgentEventFile(const std::wstring& folder, const wchar_t* extension,
                            const std::wstring& document, HANDLE saveMutex) {
  std::wstring path;
  FailureReason reason;
  const HRESULT result = WriteInTurn(folder, extension, document, saveMutex, path, reason);
  if (FAILED(result)) LogError(kFacility, L"Failed to save event file %s. %s", path.c_str(), reason.Text());
  return result;
}

}  // namespace varnel
