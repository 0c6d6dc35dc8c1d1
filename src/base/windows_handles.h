#pragma once

#include "base/unique_resource.h"

#include <windows.h>

namespace varnel {

// Mutexes, tokens and other handles whose "none" is null.
struct KernelHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type handle) noexcept { CloseHandle(handle); }
};
using KernelHandle = UniqueResource<KernelHandleTraits>;

// Handles from CreateFile, whose "none" is INVALID_HANDLE_VALUE.
struct FileHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { CloseHandle(handle); }
};
using FileHandle = UniqueResource<FileHandleTraits>;

struct LibraryTraits {
  using Type = HMODULE;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type library) noexcept { FreeLibrary(library); }
};
using LoadedLibrary = UniqueResource<LibraryTraits>;

}  // namespace varnel
