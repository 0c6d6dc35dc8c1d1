#include "machine/folder_probe.h"

#include "base/files.h"

namespace varnel::tool {
namespace {

// WINE: opens a folder on a read-only mount for writing and refuses only changes. Sets the time of the last
// access to its current value.
DWORD WhyNotTouched(const std::wstring& folder) {
  const FileHandle opened(CreateFileW(folder.c_str(), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES, kShareAll,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | kAnonymously,
                                      nullptr));
  FILETIME accessed{};
  if (!opened || !GetFileTime(opened.Get(), nullptr, &accessed, nullptr) ||
      SetFileTime(opened.Get(), nullptr, &accessed, nullptr))
    return ERROR_SUCCESS;
  return ERROR_WRITE_PROTECT;
}

// Returns the error of adding `name` to the folder. `right` is the right to add a file or a folder.
DWORD WhyNotAdded(const std::wstring& folder, const std::wstring& name, DWORD right) {
  const DWORD byName = WhyNotOpened(folder + name, FILE_READ_ATTRIBUTES);
  if (byName != ERROR_SUCCESS && byName != ERROR_FILE_NOT_FOUND) return byName;
  const DWORD byRight = WhyNotOpened(folder, right);
  if (byRight == ERROR_SUCCESS && RunsUnderWine()) return WhyNotTouched(folder);
  // A program that has opened the folder exclusively does not keep others from adding to it.
  return byRight == ERROR_SHARING_VIOLATION ? ERROR_SUCCESS : byRight;
}

}  // namespace

DWORD WhyNotOpened(const std::wstring& path, DWORD access) {
  const FileHandle opened(CreateFileW(path.c_str(), access, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | kAnonymously, nullptr));
  return opened ? ERROR_SUCCESS : GetLastError();
}

FolderParts SplitFolder(const std::wstring& folder) {
  const std::wstring trimmed = folder.substr(0, folder.find_last_not_of(L"\\/") + 1);
  const std::size_t name = trimmed.find_last_of(L"\\/") + 1;
  return {trimmed.substr(0, name), trimmed.substr(name)};
}

bool RunsUnderWine() {
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  return system && GetProcAddress(system, "wine_get_version");
}

DWORD WhyNoNewFile(const std::wstring& folder, const std::wstring& name) {
  return WhyNotAdded(folder, name, FILE_ADD_FILE);
}

MadeFolder WhyNoNewFileInMadeFolder(const std::wstring& folder, const std::wstring& name) {
  const DWORD error = WhyNoNewFile(folder + L'\\', name);
  if (error != ERROR_PATH_NOT_FOUND || GetFileAttributesW(folder.c_str()) != INVALID_FILE_ATTRIBUTES)
    return {error, false};
  const FolderParts parts = SplitFolder(folder);
  // Looks up a name in the parent that has the length of the final path, for systems that limit the length of
  // paths.
  return {WhyNotAdded(parts.parent.empty() ? L".\\" : parts.parent, parts.name + L'_' + name,
                      FILE_ADD_SUBDIRECTORY),
          true};
}

}  // namespace varnel::tool
