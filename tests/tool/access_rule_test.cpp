#include "machine/access_rule.h"

#include <windows.h>
#include <gmock/gmock.h>

namespace varnel::test {
namespace {

using tool::AccessFacts;
using tool::PathPart;
using Sids = std::vector<std::string>;

constexpr char kSystem[] = "S-1-5-18";
constexpr char kUsers[] = "S-1-5-32-545";
constexpr char kOwn[] = "S-1-5-21-1-2-3-1001";

struct Case {
  const char* name;
  PathPart part;
  AccessFacts facts;
  Sids expected;
};
void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name;
}

// A list of one entry, owned by SYSTEM.
AccessFacts Of(const char* sid, std::uint32_t rights, bool isAllowed = true, bool isInheritOnly = false) {
  return {kSystem, true, {{sid, rights, isAllowed, isInheritOnly}}};
}

const Case kCases[] = {
    {"SYSTEM", PathPart::kFile, Of(kSystem, FILE_ALL_ACCESS), {}},
    {"Administrators", PathPart::kFile, Of("S-1-5-32-544", FILE_ALL_ACCESS), {}},
    {"TrustedInstaller",
     PathPart::kFile,
     Of("S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", FILE_ALL_ACCESS),
     {}},
    {"DomainAdmins", PathPart::kFile, Of("S-1-5-21-1-2-3-512", FILE_ALL_ACCESS), {}},
    {"OtherService", PathPart::kFile, Of("S-1-5-80-1-2-3-4-5", FILE_ALL_ACCESS), {"S-1-5-80-1-2-3-4-5"}},
    {"OwnAccountOfAnAdministrator", PathPart::kFile, Of(kOwn, FILE_ALL_ACCESS), {}},
    {"OtherAccount", PathPart::kFile, Of("S-1-5-21-1-2-3-1002", FILE_ALL_ACCESS), {"S-1-5-21-1-2-3-1002"}},
    {"Reading", PathPart::kFile, Of(kUsers, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE), {}},
    {"WritingAttributesOnly", PathPart::kFile, Of(kUsers, FILE_WRITE_ATTRIBUTES | FILE_WRITE_EA), {}},
    {"Writing", PathPart::kFile, Of(kUsers, FILE_WRITE_DATA), {kUsers}},
    {"Appending", PathPart::kFile, Of(kUsers, FILE_APPEND_DATA), {kUsers}},
    {"Deleting", PathPart::kFile, Of(kUsers, DELETE), {kUsers}},
    {"TakingOver", PathPart::kFile, Of(kUsers, WRITE_OWNER), {kUsers}},
    {"ChangingTheList", PathPart::kFolderAbove, Of(kUsers, WRITE_DAC), {kUsers}},
    {"GenericRight", PathPart::kFile, Of(kUsers, GENERIC_WRITE), {kUsers}},
    {"FileBesideIt", PathPart::kOwnFolder, Of(kUsers, FILE_ADD_FILE), {kUsers}},
    {"DeletingInTheFolder", PathPart::kOwnFolder, Of(kUsers, FILE_DELETE_CHILD), {kUsers}},
    {"DeletingFurtherUp", PathPart::kFolderAbove, Of(kUsers, FILE_DELETE_CHILD), {kUsers}},
    {"AddingFurtherUp", PathPart::kFolderAbove, Of(kUsers, FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY), {}},
    {"InheritOnly", PathPart::kFolderAbove, Of("S-1-5-11", FILE_ALL_ACCESS, true, true), {}},
    {"CreatorOwner", PathPart::kOwnFolder, Of("S-1-3-0", FILE_ALL_ACCESS, true, true), {}},
    {"Denied", PathPart::kFile, Of(kUsers, FILE_WRITE_DATA, false), {}},
    {"NoList", PathPart::kFile, {kSystem, false, {}}, {"S-1-1-0"}},
    {"EmptyList", PathPart::kFile, {kSystem, true, {}}, {}},
    {"OwnerMayChangeTheList", PathPart::kFile, {kUsers, true, {}}, {kUsers}},
    {"OwnerIsHeldByAnEntry", PathPart::kFile, {kUsers, true, {{"S-1-3-4", READ_CONTROL, true, false}}}, {}},
    {"OwnerIsFreedByAnEntry",
     PathPart::kFile,
     {kUsers, true, {{"S-1-3-4", WRITE_DAC, true, false}}},
     {kUsers}},
    {"EachOnce",
     PathPart::kFile,
     {kUsers,
      true,
      {{kUsers, DELETE, true, false}, {"S-1-1-0", DELETE, true, false}, {kUsers, WRITE_DAC, true, false}}},
     {kUsers, "S-1-1-0"}},
};

class AccessRule : public testing::TestWithParam<Case> {};

TEST_P(AccessRule, NamesThoseWhoCouldReplaceTheFile) {
  const Case& one = GetParam();
  EXPECT_EQ(one.expected, WhoCanReplace(one.facts, one.part, {kOwn}));
}

INSTANTIATE_TEST_SUITE_P(Of, AccessRule, testing::ValuesIn(kCases),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace varnel::test
