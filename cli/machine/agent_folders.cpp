#include "machine/agent_folders.h"

#include "events/report_rules.h"
#include "settings/agent_settings.h"

#include <algorithm>

namespace varnel::tool {

EventFolder FolderOf(const std::wstring& softwareId) {
  wchar_t path[kPathCapacity];
  if (IsServerSoftwareId(softwareId.c_str())) return {ReadEventsPath(path) ? path : L"", true};
  return {ReadDataPath(path) ? AgentEventFolder(path) : L"", false};
}

std::vector<FolderFile> FilesOf(const EventFolder& folder) {
  if (folder.path.empty()) return {};
  std::vector<FolderFile> files = ListFolder(folder.path + L'\\').files;
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace varnel::tool
