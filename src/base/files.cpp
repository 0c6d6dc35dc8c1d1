#include "base/files.h"

namespace varnel {
namespace {

constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kNotThroughLinks = FILE_FLAG_OPEN_REPARSE_POINT;

}  // namespace

std::optional<FileIdentity> IdentifyFile(HANDLE file) noexcept {
  BY_HANDLE_FILE_INFORMATION information;
  if (!GetFileInformationByHandle(file, &information)) return std::nullopt;
  constexpr DWORD kNotPlain = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  return FileIdentity{information.dwVolumeSerialNumber,
                      std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow,
                      (information.dwFileAttributes & kNotPlain) == 0 && information.nNumberOfLinks == 1};
}

FileHandle OpenToWrite(const wchar_t* path, DWORD disposition) noexcept {
  return FileHandle(CreateFileW(path, GENERIC_WRITE, kSharing, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL | kNotThroughLinks | kAnonymously, nullptr));
}

void DeleteFileIfStill(const wchar_t* path, const FileIdentity& identity) noexcept {
  const FileHandle file(
      CreateFileW(path, DELETE, kSharing, nullptr, OPEN_EXISTING, kNotThroughLinks | kAnonymously, nullptr));
  if (!file || IdentifyFile(file.Get()) != identity) return;
  FILE_DISPOSITION_INFO disposition{TRUE};
  // By name where the system cannot: what is open here keeps the name until then.
  if (!SetFileInformationByHandle(file.Get(), FileDispositionInfo, &disposition, sizeof(disposition)))
    DeleteFileW(path);
}

}  // namespace varnel
