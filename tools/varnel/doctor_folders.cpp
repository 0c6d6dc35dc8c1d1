// Whether event files can be made in the folders, and by whom.

#include "agent_folders.h"
#include "doctor_checks.h"
#include "events/report_rules.h"
#include "folder_probe.h"
#include "local_memory.h"
#include "settings/agent_settings.h"

#include <windows.h>
#include <aclapi.h>

#include <array>
#include <filesystem>
#include <optional>

namespace varnel::tool {
namespace {

constexpr std::uint64_t kMegabyte = 1'048'576;
constexpr std::uint64_t kLittleRoom = 100 * kMegabyte;

// The rights that the folder's list gives to SYSTEM; nothing when the system does not tell.
std::optional<ACCESS_MASK> RightsOfSystem(const std::wstring& folder) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            &list, nullptr, &descriptor) != ERROR_SUCCESS)
    return std::nullopt;
  const LocalMemory<void> owner(descriptor);
  if (!list) return FILE_ALL_ACCESS;
  std::array<BYTE, SECURITY_MAX_SID_SIZE> system{};
  DWORD size = static_cast<DWORD>(system.size());
  if (!CreateWellKnownSid(WinLocalSystemSid, nullptr, system.data(), &size)) return std::nullopt;
  TRUSTEE_W trustee;
  BuildTrusteeWithSidW(&trustee, system.data());
  ACCESS_MASK rights = 0;
  if (GetEffectiveRightsFromAclW(list, &trustee, &rights) != ERROR_SUCCESS) return std::nullopt;
  return rights;
}

bool IsFolder(const std::wstring& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

// A folder of event files, and how bad a fault of it is for the identifier that is asked about.
struct Folder {
  std::string name;
  EventFolder place;
  const char* setting;
  bool isWay;

  // A fault of the other folder does not keep this identifier's events from arriving.
  Check Fault(const std::string& aspect, std::string found, std::string remedy) const {
    return {name + aspect, isWay ? State::kFailure : State::kWarning, std::move(found), std::move(remedy)};
  }
  std::string Path() const { return Printable(place.path); }
};

// The settings' faults that the path does not show; nothing when it may be used.
std::optional<Check> CheckSetting(const Folder& folder) {
  const std::string setting = std::string("\"") + folder.setting + "\"";
  if (folder.place.path.empty() && !folder.isWay)
    return Check{folder.name, State::kOk,
                 setting + " is not set, and this identifier's reports do not need it", ""};
  if (folder.place.path.empty())
    return folder.Fault("", setting + " is not set, or longer than 259 characters",
                        "Let the agent set it: nothing can be saved without.");
  if (!std::filesystem::path(folder.place.path).is_absolute())
    return folder.Fault("", folder.Path() + ": not a full path, so each program looks in another place",
                        "Set " + setting + " to a full path.");
  wchar_t dataPath[kPathCapacity];
  if (!folder.place.ofServer && ReadDataPath(dataPath) && !std::wstring_view(dataPath).ends_with(L'\\'))
    return folder.Fault("",
                        "reports go to " + folder.Path() + ": " + setting + " does not end in a backslash",
                        "Put a backslash at the end of " + setting + ".");
  return std::nullopt;
}

// The folder itself, for this account.
Check CheckPlace(const Folder& folder) {
  const std::wstring& path = folder.place.path;
  const std::string shown = folder.Path();
  const std::string use = folder.isWay ? ", where this identifier's reports go" : "";
  if (IsFolder(path)) {
    if (WhyNotOpened(path, FILE_ADD_FILE) == ERROR_SUCCESS) return {folder.name, State::kOk, shown + use, ""};
    return folder.Fault("", shown + ": this account may not make files there",
                        "Give the account of the reporting product the right to create files in it.");
  }
  const bool isTaken = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
  if (!isTaken && folder.place.ofServer &&
      WhyNotOpened(SplitFolder(path).parent, FILE_ADD_SUBDIRECTORY) == ERROR_SUCCESS)
    return {folder.name, State::kOk, shown + use + "; it is not there yet, the first report makes it", ""};
  return folder.Fault("", shown + (isTaken ? ": not a folder" : ": not there"),
                      "Make this folder, or repair the agent, which makes it.");
}

Check CheckSystem(const Folder& folder) {
  const auto rights = RightsOfSystem(folder.place.path);
  if (!rights)
    return {folder.name + " for SYSTEM", State::kOk, "not known: the system does not tell its rights", ""};
  if ((*rights & FILE_ADD_FILE) != 0)
    return {folder.name + " for SYSTEM", State::kOk, "services may make files there", ""};
  return folder.Fault(" for SYSTEM", folder.Path() + ": services may not make files there",
                      "Give SYSTEM the right to create files in it.");
}

Check CheckRoom(const Folder& folder) {
  ULARGE_INTEGER room{};
  const std::string name = folder.name + " room";
  if (!GetDiskFreeSpaceExW(folder.place.path.c_str(), &room, nullptr, nullptr))
    return {name, State::kOk, "not known: the system does not tell", ""};
  const std::string found = std::to_string(room.QuadPart / kMegabyte) + " MB are free for this account";
  if (room.QuadPart < ReadEventSizeLimit())
    return folder.Fault(" room", found + ", less than the largest report takes", "Make room on this disk.");
  if (room.QuadPart < kLittleRoom)
    return {name, State::kWarning, found, "Make room on this disk before it is full."};
  return {name, State::kOk, found, ""};
}

void CheckFolder(const Folder& folder, Checks& checks) {
  auto fault = CheckSetting(folder);
  checks.push_back(fault ? *std::move(fault) : CheckPlace(folder));
  if (folder.place.path.empty() || !IsFolder(folder.place.path)) return;
  checks.push_back(CheckSystem(folder));
  checks.push_back(CheckRoom(folder));
}

}  // namespace

Checks CheckFolders(std::wstring_view softwareId) {
  const bool toServer = FolderOf(std::wstring(softwareId)).ofServer;
  Checks checks;
  CheckFolder({"agent folder", FolderOf(L""), "Data Path", !toServer}, checks);
  CheckFolder({"server folder", FolderOf(kServerSoftwareId), "EventsPath", toServer}, checks);
  return checks;
}

}  // namespace varnel::tool
