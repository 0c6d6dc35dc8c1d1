#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::tool {

// Where the library puts the reports of a software identifier on this machine, by the library's own rules.
struct EventFolder {
  std::wstring path;  // without a trailing backslash; empty when the agent has set none
  bool ofServer = false;
};
[[nodiscard]] EventFolder FolderOf(const std::wstring& softwareId);

// A file as its folder lists it.
struct FolderFile {
  std::wstring name;
  std::uint64_t size = 0;
  std::uint64_t written = 0;  // time of the last change, as FILETIME ticks

  bool operator<(const FolderFile& other) const { return name < other.name; }
};

// Returns the files of the folder, sorted by name, from one listing; no file is opened. Folders and links are
// left out. A folder that cannot be read has no files.
[[nodiscard]] std::vector<FolderFile> FilesOf(const EventFolder& folder);

}  // namespace varnel::tool
