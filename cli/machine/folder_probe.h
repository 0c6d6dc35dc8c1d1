#pragma once

#include <windows.h>

#include <string>

namespace varnel::tool {

// Returns the error with which Windows refuses to open a file or folder with this access, or 0. Changes
// nothing.
[[nodiscard]] DWORD WhyNotOpened(const std::wstring& path, DWORD access);

// The parent of a folder, with its separator (empty for a name alone and for a drive), and the folder's own
// name. Trailing separators are ignored.
struct FolderParts {
  std::wstring parent;
  std::wstring name;
};
[[nodiscard]] FolderParts SplitFolder(const std::wstring& folder);

// Returns the error that creating a file in the folder would give, or 0. Creates no file: looks the name up
// and opens the folder with the right to add a file, which a read-only volume refuses with
// ERROR_WRITE_PROTECT. `folder` ends in a backslash. A file that has the name is no error.
[[nodiscard]] DWORD WhyNoNewFile(const std::wstring& folder, const std::wstring& name);

// Like WhyNoNewFile, for a folder without a trailing backslash that a save creates first if it is missing.
// `isMade` is true if the folder is missing; `error` is then that of creating it.
struct MadeFolder {
  DWORD error;
  bool isMade;
};
[[nodiscard]] MadeFolder WhyNoNewFileInMadeFolder(const std::wstring& folder, const std::wstring& name);

// True on Wine. Code that depends on it has the tag WINE.
[[nodiscard]] bool RunsUnderWine();

}  // namespace varnel::tool
