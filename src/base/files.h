#pragma once

#include "base/handles.h"

#include <cstdint>
#include <optional>

namespace varnel {

// Files in folders that others may write to as well: what stands under a name may be a link to something
// else, or be exchanged at any moment.

// Goes with every opening by name: should the name lead to a pipe, its server learns nothing of this process.
constexpr DWORD kAnonymously = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

// Keeps nobody else from reading, writing or deleting meanwhile.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Which file of its volume it is.
struct FileIdentity {
  std::uint64_t index;
  std::int64_t created;  // as the system counts; it may follow the last writing
  bool isPlain;          // no folder, no link, and no other name leads to it
  bool isEmpty;

  bool operator==(const FileIdentity& other) const noexcept { return index == other.index; }
};

// Of an open file; nothing when the system does not tell.
[[nodiscard]] std::optional<FileIdentity> IdentifyFile(HANDLE file) noexcept;

// Opens a file for writing, without following a link and not to be inherited by a child process; others may
// read and delete it meanwhile. `disposition` as for CreateFile, but none that cuts the file. Empty, with the
// last error set, on failure.
[[nodiscard]] FileHandle OpenToWrite(const wchar_t* path, DWORD disposition) noexcept;

// Deletes the file under this name if it is still this one.
void DeleteFileIfStill(const wchar_t* path, const FileIdentity& identity) noexcept;

}  // namespace varnel
