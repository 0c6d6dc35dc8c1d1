#include "agent_folders.h"

#include "events/report_rules.h"
#include "settings/agent_settings.h"

#include <algorithm>
#include <filesystem>

namespace varnel::tool {

EventFolder FolderOf(const std::wstring& softwareId) {
  wchar_t path[kPathCapacity];
  if (IsServerSoftwareId(softwareId.c_str())) return {ReadEventsPath(path) ? path : L"", true};
  return {ReadDataPath(path) ? AgentEventFolder(path) : L"", false};
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
