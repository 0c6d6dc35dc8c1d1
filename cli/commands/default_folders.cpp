#include "commands/commands.h"
#include "events/report_rules.h"
#include "machine/agent_folders.h"

#include <cwchar>
#include <utility>

namespace varnel::tool {

std::vector<NativePath> DefaultEventFolders(const std::string& command) {
  std::vector<NativePath> paths;
  for (const wchar_t* const softwareId : {L"", kServerSoftwareId})
    if (EventFolder folder = FolderOf(softwareId);
        !folder.path.empty() && (paths.empty() || _wcsicmp(paths[0].c_str(), folder.path.c_str()) != 0))
      paths.push_back(std::move(folder.path));
  if (paths.empty())
    throw Failure("no event folder is set on this machine; pass paths to varnel " + command +
                  ", or run varnel doctor");
  return paths;
}

}  // namespace varnel::tool
