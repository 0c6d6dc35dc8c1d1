// Part of <varnel/testing.hpp>: the settings of an Agent, which the captured library reads as registry
// values.
#pragma once

#include <varnel/system.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::testing::detail {

// The values below the keys that docs/settings.md lists, in memory. Not synchronised.
class AgentSettings {
 public:
  // Add or replace a value. The names are those of docs/settings.md; each belongs to one key.
  void SetNumber(const std::wstring& name, DWORD number) {
    Set(name, REG_DWORD, std::string(reinterpret_cast<const char*>(&number), sizeof(number)));
  }
  void SetText(const std::wstring& name, const std::wstring& text) {
    const auto* const bytes = reinterpret_cast<const char*>(text.c_str());
    Set(name, REG_SZ, std::string(bytes, (text.size() + 1) * sizeof(wchar_t)));
  }
  void Remove(const std::wstring& name) noexcept {
    for (auto value = values_.begin(); value != values_.end(); ++value)
      if (_wcsicmp(value->name.c_str(), name.c_str()) == 0) {
        values_.erase(value);
        return;
      }
  }
  void Clear() noexcept { values_.clear(); }

  // True for a path below HKEY_LOCAL_MACHINE at which only these settings are visible.
  static bool Covers(const wchar_t* path) noexcept {
    constexpr std::size_t kSize = std::size(kRoot) - 1;
    return _wcsnicmp(path, kRoot, kSize) == 0 && (path[kSize] == L'\0' || path[kSize] == L'\\');
  }

  // Returns null for a key without values.
  HKEY Open(const wchar_t* path) const noexcept {
    for (const Value& value : values_)
      if (const wchar_t* const& key = kKeys[value.key]; _wcsicmp(path + std::size(kRoot) - 1, key) == 0)
        return HandleOf(value.key);
    return nullptr;
  }
  static bool Owns(HKEY key) noexcept {
    for (std::size_t i = 0; i < std::size(kKeys); ++i)
      if (key == HandleOf(i)) return true;
    return false;
  }

  // Answers as RegQueryValueExW does.
  LSTATUS Query(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size) const noexcept {
    const Value* const value = Find(key, name);
    return value ? Copy(*value, value->bytes, type, data, size) : ERROR_FILE_NOT_FOUND;
  }
  // Answers as RegQueryValueExA does: texts in the ANSI code page.
  LSTATUS QueryNarrow(HKEY key, const char* name, DWORD* type, BYTE* data, DWORD* size) const {
    const Value* const value = Find(key, std::wstring(name, name + std::strlen(name)).c_str());
    if (!value) return ERROR_FILE_NOT_FOUND;
    if (value->type != REG_SZ) return Copy(*value, value->bytes, type, data, size);
    const auto* const wide = reinterpret_cast<const wchar_t*>(value->bytes.data());
    const int units = static_cast<int>(value->bytes.size() / sizeof(wchar_t));
    std::string narrow(2 * value->bytes.size(), '\0');
    const int bytes = WideCharToMultiByte(CP_ACP, 0, wide, units, narrow.data(),
                                          static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(bytes));
    return Copy(*value, narrow, type, data, size);
  }

 private:
  struct Value {
    std::size_t key;  // index in kKeys
    std::wstring name;
    DWORD type;
    std::string bytes;
  };

  static constexpr wchar_t kRoot[] = L"SOFTWARE\\Wow6432Node\\Kestrane";
  static constexpr const wchar_t* kKeys[] = {L"\\QRN\\Shared Components\\Framework",
                                             L"\\Orbacon\\EventParser", L"\\Orbacon"};

  // The address of a key's path stands for the opened key.
  static HKEY HandleOf(std::size_t key) noexcept {
    return reinterpret_cast<HKEY>(const_cast<const wchar_t**>(&kKeys[key]));
  }
  static std::size_t KeyOf(const std::wstring& name) noexcept {
    if (_wcsicmp(name.c_str(), L"EventsPath") == 0) return 1;
    return _wcsnicmp(name.c_str(), L"Log", 3) == 0 ? 2 : 0;
  }

  void Set(const std::wstring& name, DWORD type, std::string bytes) {
    Value value{KeyOf(name), name, type, std::move(bytes)};
    Remove(name);
    values_.push_back(std::move(value));
  }
  const Value* Find(HKEY key, const wchar_t* name) const noexcept {
    for (const Value& value : values_)
      if (key == HandleOf(value.key) && _wcsicmp(value.name.c_str(), name) == 0) return &value;
    return nullptr;
  }
  static LSTATUS Copy(const Value& value, const std::string& bytes, DWORD* type, BYTE* data,
                      DWORD* size) noexcept {
    if (type) *type = value.type;
    if (!size) return ERROR_SUCCESS;
    const DWORD room = std::exchange(*size, static_cast<DWORD>(bytes.size()));
    if (!data) return ERROR_SUCCESS;
    if (room < bytes.size()) return ERROR_MORE_DATA;
    std::copy(bytes.begin(), bytes.end(), data);
    return ERROR_SUCCESS;
  }

  std::vector<Value> values_;
};

}  // namespace varnel::testing::detail
