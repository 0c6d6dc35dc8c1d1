// Rows about the event folders: whether event files can be created in them, and by which accounts.

#include "console/streams_windows.h"
#include "doctor/backlog.h"
#include "doctor/checks.h"
#include "events/event_file.h"
#include "events/report_rules.h"
#include "machine/agent_folders.h"
#include "machine/folder_probe.h"
#include "machine/path_fault.h"
#include "machine/registry_value.h"
#include "settings/agent_settings.h"

#include <windows.h>
#include <aclapi.h>

#include <array>
#include <optional>

namespace varnel::tool {
namespace {

constexpr std::uint64_t kMegabyte = 1'048'576;
constexpr std::uint64_t kLittleRoom = 100 * kMegabyte;

// Returns the rights of SYSTEM on the folder; nothing if Windows cannot tell.
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
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// An event folder, and whether the product's reports are saved to it.
struct Folder {
  std::string name;
  EventFolder place;
  const wchar_t* key;
  const wchar_t* value;
  bool isUsed;  // this product's reports are saved to it

  // Returns the row for a fault: a failure, or a warning for a folder that this product does not use.
  Row Fault(const std::string& aspect, std::string found, std::string remedy) const {
    return {name + aspect, isUsed ? State::kFailure : State::kWarning, std::move(found), std::move(remedy)};
  }
  std::string Path() const { return Printable(place.path); }
  std::string Setting() const { return "\"" + ToUtf8(value) + "\""; }
  std::string Example() const {
    return place.ofServer
               ? "Repair the management server, whose installer sets it to a full path."
               : "Repair the agent, whose installer sets it to a full path with a backslash at the end.";
  }
};

bool IsText(const RegistryValue& value) {
  return value.type == REG_SZ || value.type == REG_EXPAND_SZ;
}

// Returns the row for a fault of the setting, except a path that does not exist; nothing if there is none.
std::optional<Row> CheckSetting(const Folder& folder) {
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, folder.key, KEY_QUERY_VALUE);
  const auto value = ReadValue(key, folder.value);
  if (!value && !folder.isUsed)
    return Row{folder.name, State::kOk, folder.Setting() + " is not set, and this product does not need it",
               ""};
  if (!value) return folder.Fault("", folder.Setting() + " is not set", folder.Example());
  const std::wstring path = value->Text();
  if (!IsText(*value))
    return folder.Fault("", folder.Setting() + " is " + Described(*value) + ", not a text (REG_SZ)",
                        folder.Example());
  if (path.size() >= kPathCapacity)
    return folder.Fault(
        "",
        folder.Setting() + " is " + std::to_string(path.size()) + " characters long; the library accepts 259",
        "Choose a folder with a shorter path.");
  if (const auto fault = FindPathFault(path))
    return folder.Fault("", folder.Setting() + " " + fault->found, fault->remedy);
  if (!folder.place.ofServer && !path.ends_with(L'\\') && !path.ends_with(L'/'))
    return folder.Fault(
        "", "reports go to " + folder.Path() + ": " + folder.Setting() + " does not end in a backslash",
        "Put a backslash at the end of " + folder.Setting() + ".");
  return std::nullopt;
}

// True for a path like \\server\share; false for \\?\C: and \\.\device.
bool IsOnServer(const std::wstring& path) {
  return path.size() > 2 && path.starts_with(L"\\\\") && path[2] != L'?' && path[2] != L'.';
}

// Returns the first part of a path that is missing or is a file.
std::wstring FirstObstacle(const std::wstring& path) {
  std::wstring obstacle = path;
  for (std::wstring above = SplitFolder(path).parent; !above.empty(); above = SplitFolder(above).parent) {
    const std::wstring trimmed = above.substr(0, above.find_last_not_of(L"\\/") + 1);
    if (trimmed.empty() || IsFolder(above)) break;
    obstacle = trimmed;
  }
  return obstacle;
}

Row MissingFolder(const Folder& folder) {
  const std::wstring obstacle = FirstObstacle(folder.place.path);
  const std::string shown = folder.Path() + ": " + Printable(obstacle);
  if (GetFileAttributesW(obstacle.c_str()) != INVALID_FILE_ATTRIBUTES)
    return folder.Fault("", shown + " is a file, not a folder",
                        "Rename or remove the file, then create the folder.");
  const DWORD error = GetLastError();
  if (error == ERROR_ACCESS_DENIED)
    return folder.Fault(
        "", shown + " is hidden from this account",
        "Run varnel doctor as the account of the reporting product; if it is that account, give it the right "
        "to read the folders above.");
  if ((error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) || IsOnServer(obstacle))
    return folder.Fault("", shown + " cannot be reached (error " + std::to_string(error) + ")",
                        "Make that drive or network share available, or choose a folder on a local disk.");
  return folder.Fault("", shown + " does not exist",
                      folder.place.ofServer
                          ? "Create the folder above it; the first report creates the last folder."
                          : "Repair the agent, which creates this folder, or create it.");
}

// Returns the row for a folder that exists and refuses new files.
Row RefusedFile(const Folder& folder, DWORD error) {
  const std::string shown = folder.Path() + ": ";
  if (error == ERROR_WRITE_PROTECT)
    return folder.Fault("", shown + "the volume, or the folder itself, is read-only",
                        "Make it writable, or choose a folder on another volume.");
  if (error == ERROR_ACCESS_DENIED)
    return folder.Fault("", shown + "this account may not create files there",
                        "Give the account of the reporting product the right to create files in it.");
  return folder.Fault("", shown + "new files are refused (error " + std::to_string(error) + ")",
                      "Look this error number up, and repair the folder.");
}

bool IsOnReadOnlyVolume(const std::wstring& path) {
  wchar_t volume[kPathCapacity];
  DWORD flags = 0;
  return GetVolumePathNameW(path.c_str(), volume, kPathCapacity) &&
         GetVolumeInformationW(volume, nullptr, 0, nullptr, nullptr, &flags, nullptr, 0) &&
         (flags & FILE_READ_ONLY_VOLUME) != 0;
}

bool IsOnNetwork(const std::wstring& path) {
  if (IsOnServer(path)) return true;
  return GetDriveTypeW((path.substr(0, 2) + L"\\").c_str()) == DRIVE_REMOTE;
}

// Checks the folder with the rights of this account.
Row CheckPlace(const Folder& folder) {
  constexpr std::size_t kLongestFile = 43;  // characters of \<GUID>.xml; the agent's names are shorter
  const std::wstring& path = folder.place.path;
  const MadeFolder made =
      folder.place.ofServer
          ? WhyNoNewFileInMadeFolder(path, ServerEventFileName())
          : MadeFolder{WhyNoNewFile(path + L'\\', L"20000101000000000100000000001.txml"), false};
  const bool canBeMade = made.isMade && IsFolder(SplitFolder(path).parent);
  if (!canBeMade && !IsFolder(path)) return MissingFolder(folder);
  const DWORD error =
      made.error == ERROR_SUCCESS && IsOnReadOnlyVolume(path) ? ERROR_WRITE_PROTECT : made.error;
  if (error != ERROR_SUCCESS) return RefusedFile(folder, error);
  Row row{folder.name, State::kOk, folder.Path(), ""};
  if (folder.isUsed) row.found += ", for this product's reports";
  if (made.isMade) row.found += "; it does not exist yet, the first report creates it";
  if (path.size() + kLongestFile >= MAX_PATH) {
    row.state = State::kWarning;
    row.found +=
        "; with the names of event files the path is longer than the 259 characters that most programs "
        "accept";
    row.remedy = "Choose a folder with a shorter path.";
  } else if (IsOnNetwork(path)) {
    row.state = State::kWarning;
    row.found += "; it is on the network: services do not see the drive letters of users";
    row.remedy = "Choose a folder on a local disk.";
  }
  return row;
}

Row CheckSystem(const Folder& folder) {
  const auto rights = RightsOfSystem(folder.place.path);
  if (!rights) return {folder.name + " for SYSTEM", State::kOk, "unknown: Windows returns no rights", ""};
  if ((*rights & FILE_ADD_FILE) != 0)
    return {folder.name + " for SYSTEM", State::kOk, "services may create files there", ""};
  return folder.Fault(" for SYSTEM", folder.Path() + ": services may not create files there",
                      "Give SYSTEM the right to create files in it.");
}

Row CheckRoom(const Folder& folder) {
  ULARGE_INTEGER room{};
  const std::string name = folder.name + " room";
  if (!GetDiskFreeSpaceExW(folder.place.path.c_str(), &room, nullptr, nullptr))
    return {name, State::kOk, "unknown: Windows returns no free space", ""};
  const std::string found = std::to_string(room.QuadPart / kMegabyte) + " MB are free for this account";
  if (room.QuadPart < ReadEventSizeLimit())
    return folder.Fault(" room", found + ", less than the size of the largest report",
                        "Free some space on this disk.");
  if (room.QuadPart < kLittleRoom)
    return {name, State::kWarning, found, "Free some space on this disk before it is full."};
  return {name, State::kOk, found, ""};
}

void CheckFolder(const Folder& folder, const BacklogLimits& limits, Rows& rows) {
  auto fault = CheckSetting(folder);
  rows.push_back(fault ? *std::move(fault) : CheckPlace(folder));
  if (folder.place.path.empty() || !IsFolder(folder.place.path)) return;
  rows.push_back(CheckSystem(folder));
  rows.push_back(CheckRoom(folder));
  rows.push_back(CheckBacklog(folder.name, folder.place, limits));
}

}  // namespace

Rows CheckFolders(std::wstring_view softwareId, const BacklogLimits& limits) {
  const bool toServer = FolderOf(std::wstring(softwareId)).ofServer;
  const EventFolder agents = FolderOf(L"");
  const EventFolder servers = FolderOf(kServerSoftwareId);
  Rows rows;
  CheckFolder({"agent folder", agents, kFrameworkKey, L"Data Path", !toServer}, limits, rows);
  CheckFolder({"server folder", servers, kEventParserKey, L"EventsPath", toServer}, limits, rows);
  if (!agents.path.empty() && _wcsicmp(agents.path.c_str(), servers.path.c_str()) == 0)
    rows.push_back({"folders", State::kWarning, "the agent's event folder and the server's are the same",
                    "Set \"EventsPath\" to the folder of the server's event parser."});
  return rows;
}

}  // namespace varnel::tool
