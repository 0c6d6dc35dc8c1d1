#include "machine/registered_class.h"

#include "varnel/varnel.h"

namespace varnel::tool {

RegistryKey OpenClassKey(HKEY root, REFCLSID classId, const wchar_t* subkey, REGSAM view) {
  wchar_t guid[39];
  StringFromGUID2(classId, guid, 39);
  const std::wstring path = std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + guid + subkey;
  return OpenRegistryKey(root, path.c_str(), KEY_QUERY_VALUE | view);
}

RegistryKey OpenServerKey(REGSAM view) {
  return OpenClassKey(HKEY_LOCAL_MACHINE, CLSID_OrbaEventInf, L"\\InprocServer32", view);
}

std::wstring ServerOf(const RegistryKey& key) {
  // WINE: 8's RegGetValue overruns the buffer when it expands variables, because it counts bytes as
  // characters.
  constexpr DWORD kFlags = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
  constexpr DWORD kCapacity = 1024;
  wchar_t path[kCapacity] = {};
  DWORD size = sizeof(path);
  DWORD type = REG_NONE;
  if (RegGetValueW(key.Get(), nullptr, nullptr, kFlags, &type, path, &size) != ERROR_SUCCESS) return L"";
  if (type == REG_SZ) return path;
  wchar_t expanded[kCapacity];
  const DWORD length = ExpandEnvironmentStringsW(path, expanded, kCapacity);
  return length > 0 && length <= kCapacity ? expanded : L"";
}

}  // namespace varnel::tool
