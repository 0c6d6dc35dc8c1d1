#pragma once

#include <cstdint>
#include <string_view>

namespace varnel {

// The old NT 4 system on which an unmanaged agent's library serves chosen processes only.
[[nodiscard]] constexpr bool IsNt4(std::uint32_t platform, std::uint32_t major) noexcept {
  return platform == 2 && major == 4;
}

// Whether a process may load the library on NT 4 while the agent is unmanaged, by its file name (with or
// without folders): the agent's own programs and the system's registration tool, in any letter case, with
// extension ".exe".
[[nodiscard]] bool MayLoadUnmanaged(std::wstring_view processFile) noexcept;

}  // namespace varnel
