#pragma once

#include "eventfile/files.h"

#include <string>
#include <vector>

namespace varnel::tool {

// The folder in which the library saves the reports of a software identifier on this machine.
struct EventFolder {
  std::wstring path;  // without a trailing backslash; empty if the agent has set none
  bool ofServer = false;
};
[[nodiscard]] EventFolder FolderOf(const std::wstring& softwareId);

// Returns the files of the folder, sorted by name, without folders and links. Lists the folder once and opens
// no file. Returns no files if the folder cannot be read.
[[nodiscard]] std::vector<FolderFile> FilesOf(const EventFolder& folder);

}  // namespace varnel::tool
