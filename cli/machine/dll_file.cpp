#include "machine/dll_file.h"

#include "base/files.h"
#include "base/system_library.h"

#include <cstring>
#include <vector>

namespace varnel::tool {
namespace {

// Reads T at an offset. Returns false if the file ends before it does.
template <class T>
bool ReadAt(HANDLE file, DWORD offset, T& value) {
  OVERLAPPED at{};
  at.Offset = offset;
  DWORD read = 0;
  return ReadFile(file, &value, sizeof(value), &read, &at) && read == sizeof(value);
}

}  // namespace

DllKind KindOfDll(const std::wstring& path) {
  const FileHandle file(
      CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  struct {
    DWORD signature;
    IMAGE_FILE_HEADER file;
  } header;
  IMAGE_DOS_HEADER dos;
  if (!file || GetFileType(file.Get()) != FILE_TYPE_DISK || !ReadAt(file.Get(), 0, dos) ||
      dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew < 0 ||
      !ReadAt(file.Get(), static_cast<DWORD>(dos.e_lfanew), header) ||
      header.signature != IMAGE_NT_SIGNATURE || (header.file.Characteristics & IMAGE_FILE_DLL) == 0)
    return DllKind::kNoDll;
  if (header.file.Machine == IMAGE_FILE_MACHINE_AMD64) return DllKind::k64Bit;
  return header.file.Machine == IMAGE_FILE_MACHINE_I386 ? DllKind::k32Bit : DllKind::kOther;
}

// Loads version.dll from the system folder at run time: for an import, Windows would search the program's
// folder first.
std::string VersionOfDll(const std::wstring& path) {
  decltype(GetFileVersionInfoSizeW)* getSize = nullptr;
  decltype(GetFileVersionInfoW)* getInformation = nullptr;
  decltype(VerQueryValueW)* queryValue = nullptr;
  const LoadedLibrary library = LoadSystemLibrary(L"version.dll");
  if (!library || !Resolve(library, "GetFileVersionInfoSizeW", getSize) ||
      !Resolve(library, "GetFileVersionInfoW", getInformation) ||
      !Resolve(library, "VerQueryValueW", queryValue))
    return {};
  DWORD unused = 0;
  const DWORD size = getSize(path.c_str(), &unused);
  std::vector<char> information(size);
  void* found = nullptr;
  UINT length = 0;
  if (size == 0 || !getInformation(path.c_str(), 0, size, information.data()) ||
      !queryValue(information.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO))
    return {};
  VS_FIXEDFILEINFO fixed;
  std::memcpy(&fixed, found, sizeof(fixed));
  std::string version;
  for (const DWORD part : {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS),
                           HIWORD(fixed.dwFileVersionLS), LOWORD(fixed.dwFileVersionLS)})
    version += (version.empty() ? "" : ".") + std::to_string(part);
  return version;
}

bool IsFile(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace varnel::tool
