#include "machine/file_trust.h"

#include "base/files.h"
#include "console/streams_windows.h"
#include "console/wide_text.h"
#include "machine/access_rule.h"
#include "machine/folder_probe.h"
#include "machine/registry_value.h"

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <vector>

namespace varnel::tool {
namespace {

std::string SidText(PSID sid) {
  wchar_t* text = nullptr;
  if (!sid || !ConvertSidToStringSidW(sid, &text)) return "an unknown account";
  const LocalMemory<wchar_t> owner(text);
  return ToUtf8(text);
}

// Returns a name like "Everyone" or "PC1\ann"; the SID itself if Windows knows no name.
std::string AccountName(const std::string& text) {
  PSID sid = nullptr;
  if (!ConvertStringSidToSidW(ToWide(text).c_str(), &sid)) return text;
  const LocalMemory<void> owner(sid);
  std::array<wchar_t, 257> name{};
  std::array<wchar_t, 257> domain{};
  DWORD nameSize = static_cast<DWORD>(name.size());
  DWORD domainSize = static_cast<DWORD>(domain.size());
  SID_NAME_USE use = SidTypeUnknown;
  if (!LookupAccountSidW(nullptr, sid, name.data(), &nameSize, domain.data(), &domainSize, &use)) return text;
  return Printable(domain[0] ? std::wstring(domain.data()) + L"\\" + name.data() : name.data());
}

// Returns the account of this process if it is an administrator's.
std::vector<std::string> OwnAccount() {
  std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators{};
  DWORD size = static_cast<DWORD>(administrators.size());
  BOOL isMember = FALSE;
  if (!CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size) ||
      !CheckTokenMembership(nullptr, administrators.data(), &isMember) || !isMember)
    return {};
  KernelHandle token;
  alignas(TOKEN_USER) std::array<BYTE, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put()) ||
      !GetTokenInformation(token.Get(), TokenUser, user.data(), static_cast<DWORD>(user.size()), &size))
    return {};
  std::vector<std::string> trusted = {SidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid)};
  // WINE: files of other Unix accounts, usually root, seem to be owned by ANONYMOUS LOGON.
  if (RunsUnderWine()) trusted.push_back("S-1-5-7");
  return trusted;
}

AccessFacts FactsOf(PSID owner, PACL list) {
  AccessFacts facts{SidText(owner), list != nullptr, {}};
  for (DWORD i = 0; list && i < list->AceCount; ++i) {
    void* entry = nullptr;
    if (!GetAce(list, i, &entry)) continue;
    const auto& header = *static_cast<const ACE_HEADER*>(entry);
    // A conditional entry counts as one that allows. Both kinds begin with the same members.
    const bool isAllowed =
        header.AceType == ACCESS_ALLOWED_ACE_TYPE || header.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
    const bool isDenied =
        header.AceType == ACCESS_DENIED_ACE_TYPE || header.AceType == ACCESS_DENIED_CALLBACK_ACE_TYPE;
    if (!isAllowed && !isDenied) continue;
    auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
    facts.entries.push_back(
        {SidText(&allowed.SidStart), allowed.Mask, isAllowed, (header.AceFlags & INHERIT_ONLY_ACE) != 0});
  }
  return facts;
}

// Returns the fault of one file or folder; nothing if there is none.
std::optional<std::string> FaultOf(const std::wstring& path, PathPart part,
                                   const std::vector<std::string>& trusted) {
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT,
                                            OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                                            nullptr, &list, nullptr, &descriptor);
  if (error != ERROR_SUCCESS)
    return "the access list of " + Printable(path) + " cannot be read (error " + std::to_string(error) + ")";
  const LocalMemory<void> memory(descriptor);
  std::string accounts;
  for (const std::string& sid : WhoCanReplace(FactsOf(owner, list), part, trusted))
    AddTo(accounts, AccountName(sid));
  if (accounts.empty()) return std::nullopt;
  const char* const change = part == PathPart::kFile ? " can be changed by " : " lets it be replaced by ";
  return Printable(path) + change + accounts;
}

// Returns the path with links resolved and without the prefix \\?\; an empty text if the file cannot be
// opened.
std::wstring RealPath(const std::wstring& file) {
  const FileHandle handle(CreateFileW(file.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | kAnonymously, nullptr));
  std::wstring path(32'768, L'\0');
  const DWORD size = static_cast<DWORD>(path.size());
  path.resize(handle ? GetFinalPathNameByHandleW(handle.Get(), path.data(), size, 0) : 0);
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  return path.starts_with(kPrefix) ? path.substr(kPrefix.size()) : path;
}

}  // namespace

std::optional<std::string> WhyNotTrusted(const std::wstring& file) {
  const std::wstring real = RealPath(file);
  if (real.empty()) return "this account may not read it";
  if (real.starts_with(L"UNC\\") || GetDriveTypeW(real.substr(0, 3).c_str()) == DRIVE_REMOTE)
    return "it is on a network drive";
  const std::vector<std::string> trusted = OwnAccount();
  for (const std::wstring& path : {file, real}) {
    if (auto fault = FaultOf(path, PathPart::kFile, trusted)) return fault;
    PathPart part = PathPart::kOwnFolder;
    for (std::wstring folder = SplitFolder(path).parent; !folder.empty();
         folder = SplitFolder(folder).parent) {
      if (auto fault = FaultOf(folder, part, trusted)) return fault;
      part = PathPart::kFolderAbove;
    }
    if (_wcsicmp(file.c_str(), real.c_str()) == 0) break;
  }
  return std::nullopt;
}

}  // namespace varnel::tool
