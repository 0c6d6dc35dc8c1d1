#pragma once

#include "base/registry.h"

#include <string>

namespace varnel::tool {

[[nodiscard]] inline bool HasValue(const RegistryKey& key, const wchar_t* name) {
  return RegQueryValueExW(key.Get(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

// "First, Second"
inline void AddTo(std::string& list, const std::string& item) {
  list += (list.empty() ? "" : ", ") + item;
}

}  // namespace varnel::tool
