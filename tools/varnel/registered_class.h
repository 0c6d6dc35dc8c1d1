#pragma once

#include "base/registry.h"

#include <string>

namespace varnel::tool {

// The key of the report class's server in a registry view (KEY_WOW64_64KEY, KEY_WOW64_32KEY); empty when it
// is not registered. Of the machine, where services look, not of this account.
[[nodiscard]] RegistryKey OpenServerKey(REGSAM view);

// The file that it names, with variables replaced; empty when it names none.
[[nodiscard]] std::wstring ServerOf(const RegistryKey& key);

}  // namespace varnel::tool
