#pragma once

#include "base/handles.h"
#include "settings/agent_settings.h"

#include <cstddef>
#include <optional>

namespace varnel {

constexpr std::size_t kLongestClientPath = kPathCapacity - 1;                  // characters
constexpr std::size_t kOwnPathCapacity = std::size_t{2} * kLongestClientPath;  // characters

// Why a client library is not loaded.
struct Refusal {
  const wchar_t* reason;  // a clause for a log line
  DWORD code;             // the system's
};

// Opens the file that the agent's settings name, when its path is full, local and not too long: nobody can
// write, rename or delete it as long as it is open. Empty, and no refusal, when there is no such file.
[[nodiscard]] FileHandle OpenClientFile(const wchar_t* path, std::optional<Refusal>& refusal) noexcept;

// Whether the open file is one to load. `ownPath` becomes its own path: links on the way to it are resolved,
// and the prefix stays, so that it is taken to the letter; while the file is open none of its folders can be
// exchanged for another. `library` as for CheckSignature.
[[nodiscard]] std::optional<Refusal> CheckClientFile(HANDLE file, wchar_t (&ownPath)[kOwnPathCapacity],
                                                     const wchar_t* library) noexcept;

}  // namespace varnel
