#include "base/system_library.h"

#include "base/hresult.h"
#include "base/process_identity.h"

#include <cwchar>

namespace varnel {

LoadedLibrary LoadSystemLibrary(const wchar_t* name, DWORD* identityError) {
  if (identityError) *identityError = ERROR_SUCCESS;
  wchar_t path[MAX_PATH];
  const UINT length = GetSystemDirectoryW(path, MAX_PATH);
  if (length == 0 || length + 1 + std::wcslen(name) >= MAX_PATH) return LoadedLibrary();
  path[length] = L'\\';
  std::wcscpy(path + length + 1, name);
  ProcessIdentity process;
  if (identityError) *identityError = process.Error();
  if (!process) return LoadedLibrary();
  LoadedLibrary library(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  // A system that does not know the flag has no way to keep the search from the host's folder.
  if (!library && GetLastError() == ERROR_INVALID_PARAMETER) library.Reset(LoadLibraryW(path));
  if (!process.Restore()) throw HResultError(E_ACCESSDENIED);
  return library;
}

bool GetModulePath(HMODULE module, std::span<wchar_t> path) noexcept {
  const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
  return length != 0 && length < path.size();
}

}  // namespace varnel
