#include "events/server_event_file.h"

#include "base/windows_handles.h"
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
#include <utility>

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
  explicit ReservedFile(std::wstring path) : path_(std::move(path)) {
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
  const std::wstring& Path() const noexcept { return path_; }
  void Keep() noexcept { remove_ = false; }

 private:
  std::wstring path_;
  bool created_;
  bool remove_;
};

}  // namespace

HRESULT WriteServerEventFile(const wchar_t* folder, const std::wstring& document, HANDLE saveMutex,
                             unsigned owner) {
  ScopedProtectionException exception;  // withdrawn after the mutex is released
  const SaveMutexLock lock(saveMutex);
  std::wstring path = folder + (L"\\" + NewGuidFileName());
  exception.Request(path);
  CreateDirectoryW(folder, nullptr);  // it usually exists; a failure shows when the file is created
  ReservedFile file(std::move(path));
  if (!file.Created()) {
    LogError(kFacility, L"%x couldn't create file %s", owner, file.Path().c_str());
    return kEventFileNotWritten;
  }
  // By status, not by exception: a refused report is an everyday event, and the first exception of a thread
  // leaves memory of the C++ runtime behind when the library is unloaded.
  const std::int32_t status = AdvXMLParser::SaveToFile(file.Path(), document, AdvXMLParser::kUtf8Encoding,
                                                       nullptr, nullptr, EventSizeWithinLimit);
  if (status != AdvXMLParser::kSaved) {
    const wchar_t* const reason = status == AdvXMLParser::kSaveRefused
                                      ? L"Event data is too large to be sent to Orba"
                                      : AdvXMLParser::GetLastErrorText();
    LogError(kFacility, L"%x couldn't write to file %s:  %s", owner, file.Path().c_str(), reason);
    return kEventRefused;
  }
  file.Keep();
  return S_OK;
}

}  // namespace varnel
