#include "machine/access_rule.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace varnel::tool {
namespace {

constexpr std::string_view kEveryone = "S-1-1-0";
constexpr std::string_view kOwnerRights = "S-1-3-4";
constexpr std::string_view kTrusted[] = {
    "S-1-5-18",                                                        // SYSTEM
    "S-1-5-32-544",                                                    // administrators
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",  // TrustedInstaller
    "S-1-3-0", "S-1-3-1"};  // CREATOR OWNER and CREATOR GROUP: placeholders, replaced when a file is created

// True for the account Administrator of a machine or domain, and for Domain Admins.
bool IsAdministrator(std::string_view sid) {
  return sid.starts_with("S-1-5-21-") && (sid.ends_with("-500") || sid.ends_with("-512"));
}

bool IsTrusted(const std::string& sid, const std::vector<std::string>& trusted) {
  return IsAdministrator(sid) ||
         std::find(std::begin(kTrusted), std::end(kTrusted), sid) != std::end(kTrusted) ||
         std::find(trusted.begin(), trusted.end(), sid) != trusted.end();
}

std::uint32_t DangerousRights(PathPart part) {
  constexpr std::uint32_t kAnywhere = DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
  switch (part) {
    case PathPart::kFile:
      return kAnywhere | FILE_WRITE_DATA | FILE_APPEND_DATA;
    case PathPart::kOwnFolder:
      return kAnywhere | FILE_ADD_FILE | FILE_DELETE_CHILD;
    case PathPart::kFolderAbove:
      return kAnywhere | FILE_DELETE_CHILD;
  }
  return ~0U;
}

}  // namespace

std::vector<std::string> WhoCanReplace(const AccessFacts& facts, PathPart part,
                                       const std::vector<std::string>& trusted) {
  std::vector<std::string> found;
  const auto note = [&](const std::string& sid) {
    if (!IsTrusted(sid, trusted) && std::find(found.begin(), found.end(), sid) == found.end())
      found.push_back(sid);
  };
  if (!facts.hasList) return {std::string(kEveryone)};
  // An owner may change the list, unless an entry for OWNER RIGHTS limits the owner.
  bool ownerIsFree = true;
  for (const AccessEntry& entry : facts.entries) {
    if (entry.isInheritOnly) continue;
    const bool isOfOwner = entry.sid == kOwnerRights;
    if (isOfOwner) ownerIsFree = false;
    if (entry.isAllowed && (entry.rights & DangerousRights(part)) != 0)
      note(isOfOwner ? facts.owner : entry.sid);
  }
  if (ownerIsFree) note(facts.owner);
  return found;
}

}  // namespace varnel::tool
