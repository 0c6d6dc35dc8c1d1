#pragma once

#include <windows.h>

#include <string>

namespace varnel::tool {

// Returns the error with which the system refuses to open a file or folder with this access; 0 when it does
// not. Nothing is changed.
[[nodiscard]] DWORD WhyNotOpened(const std::wstring& path, DWORD access);

// The folder that contains this one, with its separator (empty for a name alone and for a drive), and its own
// name; trailing separators count for nothing.
struct FolderParts {
  std::wstring parent;
  std::wstring name;
};
[[nodiscard]] FolderParts SplitFolder(const std::wstring& folder);

// Returns the error that a new file in the folder would get, 0 when none is to be expected. No file is made:
// the name is looked up, and the folder opened with the right to add a file, which a read-only volume refuses
// with ERROR_WRITE_PROTECT. `folder` ends in a backslash.
[[nodiscard]] DWORD WhyNoNewFile(const std::wstring& folder, const std::wstring& name);

// The same for a folder without a trailing backslash that is made first where its parent exists.
struct MadeFolder {
  DWORD error;
  bool isMade;
};
[[nodiscard]] MadeFolder WhyNoNewFileInMadeFolder(const std::wstring& folder, const std::wstring& name);

// True on Wine, some of whose answers differ from those of Windows.
[[nodiscard]] bool RunsUnderWine();

}  // namespace varnel::tool
