#include "events/server_event_file.h"

#include "base/windows_handles.h"
#include "events/failure_reason.h"
#include "events/identity.h"
#include "events/result_codes.h"
#include "events/save_mutex.h"
#include "logging/log_writer.h"
#include "protection/protection_exception.h"
#include "settings/agent_settings.h"
#include "xml/file_writer.h"
#include "xml/last_error.h"

#include <objbase.h>

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

// The work under the mutex. `path` becomes the file's; `reason` says why it could not be written.
HRESULT WriteInTurn(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex, std::wstring& path,
                    FailureReason& reason) {
  ScopedProtectionException exception;  // withdrawn after the mutex is released
  const SaveMutexLock lock(saveMutex);
  path = folder + (L"\\" + NewGuidFileName());
  exception.Request(path);
  CreateDirectoryW(folder, nullptr);  // it usually exists; a failure shows when the file is created
  ReservedFile file(path);
  if (!file.Created()) return kEventFileNotWritten;
  // By status, not by exception: a refused report is an everyday event, and the first exception of a thread
  // leaves memory of the C++ runtime behind when the library is unloaded.
  const std::int32_t status = AdvXMLParser::SaveToFile(path, document, AdvXMLParser::kUtf8Encoding, nullptr,
                                                       nullptr, EventSizeWithinLimit);
  if (status == AdvXMLParser::kSaved) {
    file.Keep();
    return S_OK;
  }
  reason.Set(status == AdvXMLParser::kSaveRefused ? L"Event data is too large to be sent to Orba"
                                                  : AdvXMLParser::GetLastErrorText());
  return kEventRefused;
}

}  // namespace

HRESULT WriteServerEventFile(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex,
                             unsigned owner) {
  std::wstring path;
  FailureReason reason;
  const HRESULT result = WriteInTurn(folder, document, saveMutex, path, reason);
  if (result == kEventFileNotWritten)
    LogError(kFacility, L"%x couldn't create file %s", owner, path.c_str());
  else if (FAILED(result))
    LogError(kFacility, L"%x couldn't write to file %s:  %s", owner, path.c_str(), reason.Text());
  return result;
}

}  // namespace varnel
