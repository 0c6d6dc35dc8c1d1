#include "com/registrar.h"

#include "base/registry.h"

namespace varnel {
namespace {

LSTATUS IgnoreMissing(LSTATUS status) noexcept {
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

LSTATUS WriteValue(const RegistryKey& key, const ScriptValue& value) noexcept {
  const wchar_t* const name = value.name.empty() ? nullptr : value.name.c_str();
  const auto size = static_cast<DWORD>((value.text.size() + 1) * sizeof(wchar_t));
  return RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.text.c_str()), size);
}

LSTATUS Write(HKEY parent, const ScriptKey& script) noexcept {
  if (script.removal == KeyRemoval::kForce) {
    const LSTATUS removed = IgnoreMissing(RegDeleteTreeW(parent, script.name.c_str()));
    if (removed != ERROR_SUCCESS) return removed;
  }
  RegistryKey key;
  LSTATUS status = RegCreateKeyExW(parent, script.name.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                                   key.Put(), nullptr);
  if (status != ERROR_SUCCESS) return status;
  for (const auto& value : script.values) {
    status = WriteValue(key, value);
    if (status != ERROR_SUCCESS) return status;
  }
  for (const auto& child : script.children) {
    status = Write(key.Get(), child);
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

bool HasSubkeys(HKEY key) noexcept {
  DWORD count = 0;
  return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr, nullptr) != ERROR_SUCCESS ||
         count != 0;
}

LSTATUS Remove(HKEY parent, const ScriptKey& script) noexcept {
  if (script.removal == KeyRemoval::kForce) return IgnoreMissing(RegDeleteTreeW(parent, script.name.c_str()));
  LSTATUS first = ERROR_SUCCESS;
  bool othersBelow = false;
  {
    RegistryKey key;
    const LSTATUS opened = RegOpenKeyExW(parent, script.name.c_str(), 0, KEY_READ | KEY_WRITE, key.Put());
    if (opened != ERROR_SUCCESS) return IgnoreMissing(opened);
    for (const auto& child : script.children) {
      const LSTATUS status = Remove(key.Get(), child);
      if (first == ERROR_SUCCESS) first = status;
    }
    othersBelow = HasSubkeys(key.Get());
  }
  if (othersBelow || script.removal == KeyRemoval::kNever) return first;
  const LSTATUS deleted = IgnoreMissing(RegDeleteKeyW(parent, script.name.c_str()));
  return first != ERROR_SUCCESS ? first : deleted;
}

}  // namespace

HRESULT RegisterKeys(HKEY root, const std::vector<ScriptKey>& keys) {
  for (const auto& key : keys) {
    const LSTATUS status = Write(root, key);
    if (status == ERROR_SUCCESS) continue;
    UnregisterKeys(root, keys);
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  }
  return S_OK;
}

HRESULT UnregisterKeys(HKEY root, const std::vector<ScriptKey>& keys) {
  LSTATUS first = ERROR_SUCCESS;
  for (const auto& key : keys) {
    const LSTATUS status = Remove(root, key);
    if (first == ERROR_SUCCESS) first = status;
  }
  return HRESULT_FROM_WIN32(static_cast<DWORD>(first));
}

}  // namespace varnel
