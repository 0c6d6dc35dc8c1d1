#include "machine/agent_folders.h"

#include "base/handles.h"
#include "events/report_rules.h"
#include "settings/agent_settings.h"

#include <windows.h>

#include <algorithm>

namespace varnel::tool {
namespace {

struct FindTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { FindClose(handle); }
};

std::uint64_t Joined(DWORD high, DWORD low) {
  return static_cast<std::uint64_t>(high) << 32 | low;
}

}  // namespace

EventFolder FolderOf(const std::wstring& softwareId) {
  wchar_t path[kPathCapacity];
  if (IsServerSoftwareId(softwareId.c_str())) return {ReadEventsPath(path) ? path : L"", true};
  return {ReadDataPath(path) ? AgentEventFolder(path) : L"", false};
}

std::vector<FolderFile> FilesOf(const EventFolder& folder) {
  std::vector<FolderFile> files;
  if (folder.path.empty()) return files;
  WIN32_FIND_DATAW entry;
  const UniqueResource<FindTraits> find(FindFirstFileExW((folder.path + L"\\*").c_str(), FindExInfoBasic,
                                                         &entry, FindExSearchNameMatch, nullptr,
                                                         FIND_FIRST_EX_LARGE_FETCH));
  for (bool more = static_cast<bool>(find); more; more = FindNextFileW(find.Get(), &entry) != FALSE) {
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((entry.dwFileAttributes & kNoFile) == 0)
      files.push_back({entry.cFileName, Joined(entry.nFileSizeHigh, entry.nFileSizeLow),
                       Joined(entry.ftLastWriteTime.dwHighDateTime, entry.ftLastWriteTime.dwLowDateTime)});
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace varnel::tool
