#pragma once

#include "base/registry.h"

#include <string>

namespace varnel::tool {

// Opens the key of a class of the library below HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER, in the registry view
// KEY_WOW64_64KEY or KEY_WOW64_32KEY. Returns an empty owner if it cannot be opened. `subkey` is empty or a
// subkey with its leading backslash: "\InprocServer32".
[[nodiscard]] RegistryKey OpenClassKey(HKEY root, REFCLSID classId, const wchar_t* subkey, REGSAM view);

// Opens InprocServer32 of the report class below HKEY_LOCAL_MACHINE, the only registration that services use.
[[nodiscard]] RegistryKey OpenServerKey(REGSAM view);

// Returns the path of the DLL in an InprocServer32 key, with the variables of a REG_EXPAND_SZ replaced and
// quotation marks kept; an empty text if it has none, or one of more than 1,023 characters.
[[nodiscard]] std::wstring ServerOf(const RegistryKey& key);

}  // namespace varnel::tool
