// Part of <varnel/testing.hpp>: the import table of one loaded module.
#pragma once

#include <varnel/system.h>

#include <cstddef>
#include <cstring>

namespace varnel::testing::detail {

template <class Kind>
Kind* At(HMODULE module, std::size_t offset) noexcept {
  return reinterpret_cast<Kind*>(reinterpret_cast<BYTE*>(module) + offset);
}

// Returns the place where the module keeps the function's address; null if it does not import the function.
inline void** FindImport(HMODULE module, const char* function) noexcept {
  const auto* const headers =
      At<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(At<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
  const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return nullptr;
  for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); library->Name;
       ++library) {
    const auto* name = At<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* place = At<IMAGE_THUNK_DATA>(module, library->FirstThunk);
    for (; name->u1.AddressOfData; ++name, ++place) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const import = At<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(import->Name), function) == 0)
        return reinterpret_cast<void**>(&place->u1.Function);
    }
  }
  return nullptr;
}

// Writes a function's address. Returns false if the place cannot be made writable.
inline bool WriteImport(void** place, void* value) noexcept {
  DWORD protection = 0;
  if (!VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &protection)) return false;
  *place = value;
  VirtualProtect(place, sizeof(*place), protection, &protection);
  return true;
}

}  // namespace varnel::testing::detail
