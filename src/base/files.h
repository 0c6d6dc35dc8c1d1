#pragma once

#include "base/handles.h"

#include <cstdint>
#include <optional>

namespace varnel {

// Files in folders that others may write to as well: what stands under a name may be a link to something
// else, or be exchanged at any moment.

// For every CreateFile by path: if the path leads to a named pipe, its server cannot impersonate this
// process.
constexpr DWORD kAnonymously = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

// Shares the file with everybody: others may read, write, move and delete it meanwhile.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// What an open file is on its volume.
struct FileIdentity {
  std::uint64_t index;
  bool isPlain;  // neither a folder nor a link, and it has one name
};

// Returns nothing when the system does not tell.
[[nodiscard]] std::optional<FileIdentity> IdentifyFile(HANDLE file) noexcept;

// Opens a file for writing: others may read it meanwhile, but not write, move, delete or replace it. Links
// are not followed, and child processes do not inherit the handle. `disposition` is that of CreateFile, and
// not one that truncates. Empty, with the last error set, on failure.
[[nodiscard]] FileHandle OpenToWrite(const wchar_t* path, DWORD disposition) noexcept;

// Deletes the file if the path still leads to the one with this identity. Opening it may block as long as
// another process holds an opportunistic lock on it.
void DeleteFileIfStill(const wchar_t* path, const FileIdentity& identity) noexcept;

}  // namespace varnel
