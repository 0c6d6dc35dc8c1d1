#pragma once

#include <cstdint>
#include <string_view>

namespace varnel {

// Platform and major version of Windows, as GetVersionEx gives them.
struct HostVersion {
  std::uint32_t platform;
  std::uint32_t major;
};

// WINDOWS NT 4: the only system on which loading is restricted.
[[nodiscard]] constexpr bool IsNt4(HostVersion version) noexcept {
  return version.platform == 2 && version.major == 4;
}

// True if the process with the program file `processFile` (with or without folders) may load the library.
// False only on NT 4, if the agent is not managed and the file is neither one of the agent's programs nor the
// system's registration tool. File names are compared without regard to case and must end in ".exe".
[[nodiscard]] bool MayLoad(HostVersion version, bool agentManaged, std::wstring_view processFile) noexcept;

}  // namespace varnel
