#pragma once

#include "base/handles.h"

#include <cstdint>
#include <optional>

namespace varnel {

// Opens files in folders to which others may write: a path may lead to a link, or be replaced at any moment.

// For every CreateFile by path: if the path leads to a named pipe, its server cannot impersonate this
// process.
constexpr DWORD kAnonymously = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

// Lets other processes read, write, move and delete the file while it is open.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The identity of an open file on its volume.
struct FileIdentity {
  std::uint64_t index;
  bool isPlain;  // a file with one hard link, neither a folder nor a link
};

// Takes any handle from CreateFile. Returns nothing if Windows cannot tell.
[[nodiscard]] std::optional<FileIdentity> IdentifyFile(HANDLE file) noexcept;

// Opens a file for writing. Other processes may read it meanwhile, but not write, move, delete or replace it.
// If the path leads to a link, opens the link itself: callers that open existing files check `isPlain`. Links
// among the path's folders are followed. Child processes do not inherit the handle. `disposition` is that of
// CreateFile, except those that truncate. Sets the last error as CreateFile does, also on success. Returns an
// empty owner on failure.
[[nodiscard]] FileHandle OpenToWrite(const wchar_t* path, DWORD disposition) noexcept;

// Deletes the file if the path still leads to the file with this index, plain or not. The caller has closed
// the handle of OpenToWrite, which does not let the file be deleted. Reports no failure. May block while
// another process holds an opportunistic lock on the file.
void DeleteFileIfStill(const wchar_t* path, const FileIdentity& identity) noexcept;

}  // namespace varnel
