#pragma once

#include "base/registry.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// A registry value as it is stored, of any type.
struct RegistryValue {
  DWORD type = REG_NONE;
  std::vector<std::uint8_t> bytes;

  // True for a REG_DWORD of four bytes, the only form that all readers of the agent's settings take as the
  // same number.
  [[nodiscard]] bool IsNumber() const { return type == REG_DWORD && bytes.size() == sizeof(DWORD); }
  // Returns the value as text up to its first zero.
  [[nodiscard]] std::wstring Text() const;
};

// Reads a value. Returns nothing if the key is empty or the value is missing or larger than 64 KB.
[[nodiscard]] std::optional<RegistryValue> ReadValue(const RegistryKey& key, const wchar_t* name);

// Returns a printable description of a value: REG_DWORD 5, REG_SZ "0", REG_BINARY of 3 bytes.
[[nodiscard]] std::string Described(const RegistryValue& value);

// Appends an item to a list like "First, Second".
inline void AddTo(std::string& list, std::string_view item, std::string_view separator = ", ") {
  if (!list.empty()) list += separator;
  list += item;
}

}  // namespace varnel::tool
