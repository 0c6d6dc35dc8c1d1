#pragma once

#include "base/registry.h"

#include <string>

namespace varnel::tool {

// The key of a class of the library, below HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER, in a registry view
// (KEY_WOW64_64KEY, KEY_WOW64_32KEY); empty when it does not exist. `subkey` is empty, or a key of the class
// with its backslash: "\InprocServer32".
[[nodiscard]] RegistryKey OpenClassKey(HKEY root, REFCLSID classId, const wchar_t* subkey, REGSAM view);

// InprocServer32 of the report class in the machine's part, which services read.
[[nodiscard]] RegistryKey OpenServerKey(REGSAM view);

// The file that it names, with variables replaced; empty when it names none.
[[nodiscard]] std::wstring ServerOf(const RegistryKey& key);

}  // namespace varnel::tool
