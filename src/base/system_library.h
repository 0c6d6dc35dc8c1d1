#pragma once

#include "base/handles.h"

#include <span>

namespace varnel {

// Loads a library and its dependencies from the system folder only, never a file of that name from the host's
// folder. WINDOWS 7 without KB2533623: only the library itself; its dependencies may come from the host's
// folder. `name` is a file name without a folder. Returns an empty owner on failure. Loads without
// impersonation. If the impersonation cannot be stopped, loads nothing and sets *identityError to the Win32
// error code; otherwise sets it to 0. Throws HResultError (E_ACCESSDENIED) if the thread cannot impersonate
// its user again.
[[nodiscard]] LoadedLibrary LoadSystemLibrary(const wchar_t* name, DWORD* identityError = nullptr);

// Gets the full path of a module's file, zero-terminated. Returns false if Windows does not tell it, or if it
// does not fit.
[[nodiscard]] bool GetModulePath(HMODULE module, std::span<wchar_t> path) noexcept;

// Sets `function` to the export `name`. Returns false, with null, if there is none.
template <class Function>
[[nodiscard]] bool Resolve(const LoadedLibrary& library, const char* name, Function*& function) noexcept {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library.Get(), name)));
  return function != nullptr;
}

}  // namespace varnel
