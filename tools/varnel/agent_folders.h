#pragma once

#include <string>
#include <vector>

namespace varnel::tool {

// Where the library puts the reports of a software identifier on this machine, by the library's own rules.
struct EventFolder {
  std::wstring path;  // without a trailing backslash; empty when the agent has set none
  bool ofServer = false;
};
[[nodiscard]] EventFolder FolderOf(const std::wstring& softwareId);

// Names of the files in it, sorted.
[[nodiscard]] std::vector<std::wstring> FilesOf(const EventFolder& folder);

}  // namespace varnel::tool
