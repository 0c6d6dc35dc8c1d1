#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Owner and access list of a file or folder. SIDs are texts like S-1-5-18.
struct AccessEntry {
  std::string sid;
  std::uint32_t rights = 0;
  bool isAllowed = true;
  bool isInheritOnly = false;  // applies to new files in the folder, not to the folder itself
};
struct AccessFacts {
  std::string owner;
  bool hasList = true;  // false: every account has every right
  std::vector<AccessEntry> entries;
};

enum class PathPart {
  kFile,
  kOwnFolder,    // the folder of the file
  kFolderAbove,  // a folder further up, or the drive
};

// Returns the SIDs that can replace a file: because they may write or delete the file, add a file to its
// folder, delete or rename a folder on its path, or change an access list to that effect. SYSTEM,
// administrators, TrustedInstaller and the SIDs in `trusted` are left out. Entries that deny access are
// ignored, so the list may have too many SIDs, never too few. The right to add to a folder further up
// (kFolderAbove) does not count: nothing can be replaced by it, and Windows grants it on every drive.
[[nodiscard]] std::vector<std::string> WhoCanReplace(const AccessFacts& facts, PathPart part,
                                                     const std::vector<std::string>& trusted);

}  // namespace varnel::tool
