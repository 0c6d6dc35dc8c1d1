#pragma once

#include "base/registry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// A registry value as it is stored, whatever its type.
struct RegistryValue {
  DWORD type = REG_NONE;
  std::vector<std::uint8_t> bytes;

  // True for a REG_DWORD of four bytes, the only form that every reader takes as the same number.
  [[nodiscard]] bool IsNumber() const { return type == REG_DWORD && bytes.size() == sizeof(DWORD); }
  // The characters up to the first zero.
  [[nodiscard]] std::wstring Text() const;
};

// Nothing when the key is empty, the value is missing, or it is larger than 64 KB.
[[nodiscard]] std::optional<RegistryValue> ReadValue(const RegistryKey& key, const wchar_t* name);

// A value for a person, type first: REG_DWORD 5, REG_SZ "0", REG_BINARY of 3 bytes.
[[nodiscard]] std::string Described(const RegistryValue& value);

// "First, Second"
inline void AddTo(std::string& list, std::string_view item, std::string_view separator = ", ") {
  if (!list.empty()) list += separator;
  list += item;
}

}  // namespace varnel::tool
