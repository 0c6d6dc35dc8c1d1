#include "registered_class.h"

#include "varnel/varnel.h"

namespace varnel::tool {

RegistryKey OpenServerKey(REGSAM view) {
  wchar_t guid[39];
  StringFromGUID2(CLSID_OrbaEventInf, guid, 39);
  const std::wstring path = std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + guid + L"\\InprocServer32";
  return OpenRegistryKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE | view);
}

std::wstring ServerOf(const RegistryKey& key) {
  wchar_t path[1024] = {};
  DWORD size = sizeof(path);
  const LSTATUS status = RegGetValueW(key.Get(), nullptr, nullptr, RRF_RT_REG_SZ, nullptr, path, &size);
  return status == ERROR_SUCCESS ? path : L"";
}

}  // namespace varnel::tool
