#include "eventfile/new_file.h"

#include "base/files.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace varnel::tool {
namespace {

// Creates a file that must not exist, not even as a dangling link. No other process can open it meanwhile.
FileHandle CreateBeside(const std::wstring& path) {
  FileHandle file;
  for (int number = 1; number <= 100; ++number) {
    const std::wstring name = path + L"." + std::to_wstring(number) + L".new";
    file.Reset(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | kAnonymously, nullptr));
    if (file || GetLastError() != ERROR_FILE_EXISTS) break;
  }
  return file;
}

// Renames the file by its handle, so that no other file can be moved to the new name in between.
bool Rename(HANDLE file, const std::wstring& path) {
  const std::size_t length = path.size() * sizeof(wchar_t);
  std::vector<std::byte> memory(sizeof(FILE_RENAME_INFO) + length);
  FILE_RENAME_INFO information{};
  information.ReplaceIfExists = TRUE;
  information.FileNameLength = static_cast<DWORD>(length);
  std::memcpy(memory.data(), &information, sizeof(information));
  std::memcpy(memory.data() + offsetof(FILE_RENAME_INFO, FileName), path.c_str(), length + sizeof(wchar_t));
  return SetFileInformationByHandle(file, FileRenameInfo, memory.data(), static_cast<DWORD>(memory.size()));
}

}  // namespace

NewFile::NewFile(std::wstring path) : path_(std::move(path)), file_(CreateBeside(path_)) {}

NewFile::~NewFile() {
  if (!file_) return;
  FILE_DISPOSITION_INFO disposition{TRUE};
  SetFileInformationByHandle(file_.Get(), FileDispositionInfo, &disposition, sizeof(disposition));
}

bool NewFile::Write(std::string_view bytes) {
  constexpr std::size_t kMost = 1 << 24;
  DWORD written = 0;
  for (; !bytes.empty(); bytes.remove_prefix(written))
    if (!WriteFile(file_.Get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMost)), &written,
                   nullptr) ||
        written == 0)
      return false;
  return true;
}

bool NewFile::Finish() {
  if (!file_ || !Rename(file_.Get(), path_)) return false;
  file_.Reset();
  return true;
}

}  // namespace varnel::tool
