#pragma once

#include "base/handles.h"
#include "settings/agent_settings.h"

#include <cstddef>
#include <optional>

namespace varnel {

constexpr std::size_t kLongestClientPath = kPathCapacity - 1;                  // characters
constexpr std::size_t kOwnPathCapacity = std::size_t{2} * kLongestClientPath;  // characters

// The reason why a client library is not loaded.
struct Refusal {
  const wchar_t* reason;  // a clause for a log line
  DWORD code;             // a Win32 error code or an HRESULT
};

// Opens the client file for reading. While it is open, no process can write, rename or delete it. Returns an
// empty owner and sets `refusal` if the path is not full, not local or too long, or if the file cannot be
// opened; otherwise leaves `refusal` as it is, and returns an empty owner only if the file does not exist.
[[nodiscard]] FileHandle OpenClientFile(const wchar_t* path, std::optional<Refusal>& refusal) noexcept;

// Checks the path and the signature of the open file; returns nothing if it may be loaded, otherwise the
// reason. `ownPath` gets the file's own path: links are resolved and the prefix \\?\ is kept, so that Windows
// does not interpret it. While the file is open, no folder of that path can be replaced. `library` and the
// rule for threads are those of CheckSignature.
[[nodiscard]] std::optional<Refusal> CheckClientFile(HANDLE file, wchar_t (&ownPath)[kOwnPathCapacity],
                                                     const wchar_t* library) noexcept;

}  // namespace varnel
