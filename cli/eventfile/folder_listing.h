#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::tool {

// A file of a folder listing.
struct FolderFile {
  std::wstring name;
  std::uint64_t size = 0;
  std::uint64_t written = 0;  // time of the last change, as FILETIME ticks

  bool operator<(const FolderFile& other) const { return name < other.name; }
};

// The files of a folder, without folders and links, in no order.
struct FolderListing {
  std::vector<FolderFile> files;
  DWORD error = ERROR_SUCCESS;  // why the listing is not complete
};

// Lists a folder, whose path ends in a separator, and opens no file.
[[nodiscard]] FolderListing ListFolder(const std::wstring& folder);

}  // namespace varnel::tool
