#include "base/registry.h"

namespace varnel {

RegistryKey OpenRegistryKey(HKEY root, const wchar_t* path, REGSAM access) noexcept {
  RegistryKey key;
  if (RegOpenKeyExW(root, path, 0, access, key.Put()) != ERROR_SUCCESS) return RegistryKey();
  return key;
}

std::optional<std::uint32_t> QueryFourBytes(const RegistryKey& key, const wchar_t* name,
                                            std::uint32_t initial) noexcept {
  std::uint32_t value = initial;
  DWORD size = sizeof(value);
  if (RegQueryValueExW(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size) !=
      ERROR_SUCCESS)
    return std::nullopt;
  return value;
}

}  // namespace varnel
