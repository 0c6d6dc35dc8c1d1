#pragma once

#include <cstdint>
#include <string_view>

namespace varnel {

// The part of the system's version record that the restriction looks at.
struct HostVersion {
  std::uint32_t platform;
  std::uint32_t major;
};

// The old NT 4 system, the only one on which loading is restricted.
[[nodiscard]] constexpr bool IsNt4(HostVersion version) noexcept {
  return version.platform == 2 && version.major == 4;
}

// Whether a process may load the library, by its file name (with or without folders). On NT 4 an unmanaged
// agent's library serves chosen processes only: the agent's own programs and the system's registration tool,
// in any letter case, with extension ".exe".
[[nodiscard]] bool MayLoad(HostVersion version, bool agentManaged, std::wstring_view processFile) noexcept;

}  // namespace varnel
