#pragma once

#include <windows.h>

#include <string>

namespace varnel::tool {

// What keeps this process from opening a file or folder with this access, as the system's number; 0 when
// nothing does. The system decides, and nothing is left.
[[nodiscard]] DWORD WhyNotOpened(const std::wstring& path, DWORD access);

// The folder that this one lies in, with its separator (empty for a name alone), and its own name; trailing
// separators count for nothing.
struct FolderParts {
  std::wstring parent;
  std::wstring name;
};
[[nodiscard]] FolderParts SplitFolder(const std::wstring& folder);

// What would keep this process from making a new file, as the system's number; 0 when nothing would. Nothing
// is made: the file is opened under the name that it would have, and its folder with the right to add one.
// `folder` ends in a backslash.
[[nodiscard]] DWORD WhyNoNewFile(const std::wstring& folder, const std::wstring& name);

// The same for a folder that is made first where its parent is there; without a trailing backslash.
struct MadeFolder {
  DWORD error;
  bool isMade;
};
[[nodiscard]] MadeFolder WhyNoNewFileInMadeFolder(const std::wstring& folder, const std::wstring& name);

}  // namespace varnel::tool
