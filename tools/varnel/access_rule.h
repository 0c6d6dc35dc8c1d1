#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// The access list of a file or folder as plain facts; SIDs as text, like S-1-5-18.
struct AccessEntry {
  std::string sid;
  std::uint32_t rights = 0;
  bool isAllowed = true;
  bool isInheritOnly = false;  // for what is made in the folder, not for the folder itself
};
struct AccessFacts {
  std::string owner;
  bool hasList = true;  // false: everyone has every right
  std::vector<AccessEntry> entries;
};

enum class Place {
  kFile,
  kOwnFolder,    // the folder of the file
  kFolderAbove,  // a folder further up, with the drive itself
};

// Returns the SIDs that could put another file in the place of this one, without SYSTEM, administrators,
// TrustedInstaller and `trusted`: those that may write or delete a file, add a file beside it, delete or
// rename a folder on its path, or give themselves that right. Entries that deny are passed over, so the
// answer errs on the side of caution. A folder further up may let others add to it: that replaces nothing,
// and Windows allows it on every drive.
[[nodiscard]] std::vector<std::string> WhoCanReplace(const AccessFacts& facts, Place place,
                                                     const std::vector<std::string>& trusted);

}  // namespace varnel::tool
