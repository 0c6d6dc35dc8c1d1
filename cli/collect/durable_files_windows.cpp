#include "collect/durable_files.h"
#include "eventfile/system_files_windows.h"

#include <windows.h>

#include <algorithm>

namespace varnel::tool {
namespace {

FileError ErrorUnless(bool isDone) {
  return isDone ? FileError() : FileErrorOf(GetLastError());
}

FileHandle OpenOrCreate(const NativePath& path, DWORD share) {
  return FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, share, nullptr, OPEN_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | kAnonymously,
                                nullptr));
}

}  // namespace

struct AppendFile::Handle {
  FileHandle file;
};

AppendFile::AppendFile(const NativePath& path, std::uint64_t size)
    : handle_(std::make_unique<Handle>(Handle{OpenOrCreate(path, FILE_SHARE_READ)})) {
  error_ = ErrorUnless(static_cast<bool>(handle_->file));
  if (error_.problem == Problem::kNone) error_ = CutTo(size);
}

AppendFile::~AppendFile() = default;

FileError AppendFile::Write(std::string_view bytes) {
  constexpr std::size_t kMost = 1 << 24;
  DWORD written = 0;
  for (; error_.problem == Problem::kNone && !bytes.empty(); bytes.remove_prefix(written)) {
    if (!WriteFile(handle_->file.Get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMost)),
                   &written, nullptr))
      return FileErrorOf(GetLastError());
    if (written == 0) return {Problem::kOther, ERROR_DISK_FULL};
  }
  return error_;
}

FileError AppendFile::CutTo(std::uint64_t size) {
  if (error_.problem != Problem::kNone) return error_;
  LARGE_INTEGER end;
  end.QuadPart = static_cast<LONGLONG>(size);
  return ErrorUnless(SetFilePointerEx(handle_->file.Get(), end, nullptr, FILE_BEGIN) &&
                     SetEndOfFile(handle_->file.Get()));
}

FileError AppendFile::Flush() {
  if (error_.problem != Problem::kNone) return error_;
  return ErrorUnless(FlushFileBuffers(handle_->file.Get()) != FALSE);
}

FileError RenameFile(const NativePath& from, const NativePath& to) {
  return ErrorUnless(
      MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE);
}

// RenameFile has already waited for the disk.
FileError FlushFolder(const NativePath&) {
  return {};
}

FileError EnsureFolder(const NativePath& folder) {
  return ErrorUnless(CreateDirectoryW(folder.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
}

NativePath FolderPartOf(const NativePath& path) {
  return path.substr(0, path.find_last_of(L"\\/") + 1);
}

NativePath KeyOf(const NativePath& path) {
  NativePath key = path;
  const int length = static_cast<int>(key.size());
  LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, path.c_str(), length, key.data(), length);
  std::replace(key.begin(), key.end(), L'/', L'\\');
  return key;
}

struct FileLock::Handle {
  FileHandle file;
};

FileLock::FileLock(const NativePath& path)
    : handle_(std::make_unique<Handle>(Handle{OpenOrCreate(path, 0)})) {
  error_ = ErrorUnless(static_cast<bool>(handle_->file));
}

FileLock::~FileLock() = default;

}  // namespace varnel::tool
