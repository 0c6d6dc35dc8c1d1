#include "base/files.h"

// No header for programs declares it.
extern "C" __declspec(dllimport) LONG NTAPI
    NtQueryInformationFile(HANDLE file, void* status, void* information, ULONG size, int kind);

namespace varnel {
namespace {

constexpr DWORD kNotThroughLinks = FILE_FLAG_OPEN_REPARSE_POINT;

bool QueryIndex(HANDLE file, std::uint64_t* index) noexcept {
  constexpr int kFileInternalInformation = 6;
  struct {
    void* result;
    ULONG_PTR size;
  } status{};
  return NtQueryInformationFile(file, &status, index, sizeof(*index), kFileInternalInformation) >= 0;
}

}  // namespace

// GetFileInformationByHandle would tell it all, but it also asks for the volume, which may take longer than
// writing an event file.
std::optional<FileIdentity> IdentifyFile(HANDLE file) noexcept {
  FileIdentity identity{};
  FILE_STANDARD_INFO standard;
  FILE_BASIC_INFO basic;
  if (!QueryIndex(file, &identity.index) ||
      !GetFileInformationByHandleEx(file, FileStandardInfo, &standard, sizeof(standard)) ||
      !GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof(basic)))
    return std::nullopt;
  constexpr DWORD kNotPlain = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
  identity.isPlain = (basic.FileAttributes & kNotPlain) == 0 && standard.NumberOfLinks <= 1;
  return identity;
}

FileHandle OpenToWrite(const wchar_t* path, DWORD disposition) noexcept {
  return FileHandle(CreateFileW(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL | kNotThroughLinks | kAnonymously, nullptr));
}

void DeleteFileIfStill(const wchar_t* path, const FileIdentity& identity) noexcept {
  const FileHandle file(
      CreateFileW(path, DELETE, kShareAll, nullptr, OPEN_EXISTING, kNotThroughLinks | kAnonymously, nullptr));
  const auto found = file ? IdentifyFile(file.Get()) : std::nullopt;
  if (!found || found->index != identity.index) return;
  FILE_DISPOSITION_INFO disposition{TRUE};
  // Deletes by name if the volume cannot delete by handle.
  if (!SetFileInformationByHandle(file.Get(), FileDispositionInfo, &disposition, sizeof(disposition)))
    DeleteFileW(path);
}

}  // namespace varnel
