#include "base/system_library.h"

#include <cwchar>

namespace varnel {

LoadedLibrary LoadSystemLibrary(const wchar_t* name) noexcept {
  wchar_t path[MAX_PATH];
  const UINT length = GetSystemDirectoryW(path, MAX_PATH);
  if (length == 0 || length + 1 + std::wcslen(name) >= MAX_PATH) return LoadedLibrary();
  path[length] = L'\\';
  std::wcscpy(path + length + 1, name);
  return LoadedLibrary(LoadLibraryW(path));
}

}  // namespace varnel
