#pragma once

#include "base/handles.h"

namespace varnel {

// Loads a library, and what that one needs, from the system's own folder only: a file of that name beside the
// host program is not ours to run. `name` is the file's name without folder. Empty on failure. Loaded as the
// process: a thread that cannot act for it loads nothing, and `*identityError`, 0 otherwise, is then the
// system's error. Throws HResultError when the thread cannot act for its client again.
[[nodiscard]] LoadedLibrary LoadSystemLibrary(const wchar_t* name, DWORD* identityError = nullptr);

// Sets `function` to the library's export of that name. False, with null, when there is none.
template <class Function>
[[nodiscard]] bool Resolve(const LoadedLibrary& library, const char* name, Function*& function) noexcept {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library.Get(), name)));
  return function != nullptr;
}

}  // namespace varnel
