#include "agent_folders.h"

#include "settings/agent_settings.h"

#include <algorithm>
#include <filesystem>

namespace varnel::tool {

EventFolder FolderOf(std::wstring_view softwareId) {
  wchar_t path[kPathCapacity];
  if (softwareId == L"ORBASRVR_3500") return {ReadEventsPath(path) ? path : L"", true};
  return {ReadDataPath(path) ? path + std::wstring(L"AgentEvents") : L"", false};
}

std::vector<std::wstring> FilesOf(const EventFolder& folder) {
  std::vector<std::wstring> names;
  std::error_code ignored;  // a folder that is not there has no files
  for (const auto& entry : std::filesystem::directory_iterator(folder.path, ignored))
    if (entry.is_regular_file(ignored)) names.push_back(entry.path().filename().wstring());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace varnel::tool
