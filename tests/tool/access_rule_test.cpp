#include "access_rule.h"

#include <windows.h>
#include <gmock/gmock.h>

namespace varnel::test {
namespace {

using tool::AccessFacts;
using tool::Place;
using Sids = std::vector<std::string>;

constexpr char kSystem[] = "S-1-5-18";
constexpr char kUsers[] = "S-1-5-32-545";
constexpr char kOwn[] = "S-1-5-21-1-2-3-1001";

struct Case {
  const char* name;
  Place place;
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
    {"SYSTEM", Place::kFile, Of(kSystem, FILE_ALL_ACCESS), {}},
    {"Administrators", Place::kFile, Of("S-1-5-32-544", FILE_ALL_ACCESS), {}},
    {"TrustedInstaller",
     Place::kFile,
     Of("S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", FILE_ALL_ACCESS),
     {}},
    {"DomainAdmins", Place::kFile, Of("S-1-5-21-1-2-3-512", FILE_ALL_ACCESS), {}},
    {"OtherService", Place::kFile, Of("S-1-5-80-1-2-3-4-5", FILE_ALL_ACCESS), {"S-1-5-80-1-2-3-4-5"}},
    {"OwnAccountOfAnAdministrator", Place::kFile, Of(kOwn, FILE_ALL_ACCESS), {}},
    {"OtherAccount", Place::kFile, Of("S-1-5-21-1-2-3-1002", FILE_ALL_ACCESS), {"S-1-5-21-1-2-3-1002"}},
    {"Reading", Place::kFile, Of(kUsers, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE), {}},
    {"WritingAttributesOnly", Place::kFile, Of(kUsers, FILE_WRITE_ATTRIBUTES | FILE_WRITE_EA), {}},
    {"Writing", Place::kFile, Of(kUsers, FILE_WRITE_DATA), {kUsers}},
    {"Appending", Place::kFile, Of(kUsers, FILE_APPEND_DATA), {kUsers}},
    {"Deleting", Place::kFile, Of(kUsers, DELETE), {kUsers}},
    {"TakingOver", Place::kFile, Of(kUsers, WRITE_OWNER), {kUsers}},
    {"ChangingTheList", Place::kFolderAbove, Of(kUsers, WRITE_DAC), {kUsers}},
    {"GenericRight", Place::kFile, Of(kUsers, GENERIC_WRITE), {kUsers}},
    {"FileBesideIt", Place::kOwnFolder, Of(kUsers, FILE_ADD_FILE), {kUsers}},
    {"DeletingInTheFolder", Place::kOwnFolder, Of(kUsers, FILE_DELETE_CHILD), {kUsers}},
    {"DeletingFurtherUp", Place::kFolderAbove, Of(kUsers, FILE_DELETE_CHILD), {kUsers}},
    {"AddingFurtherUp", Place::kFolderAbove, Of(kUsers, FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY), {}},
    {"InheritOnly", Place::kFolderAbove, Of("S-1-5-11", FILE_ALL_ACCESS, true, true), {}},
    {"CreatorOwner", Place::kOwnFolder, Of("S-1-3-0", FILE_ALL_ACCESS, true, true), {}},
    {"Denied", Place::kFile, Of(kUsers, FILE_WRITE_DATA, false), {}},
    {"NoList", Place::kFile, {kSystem, false, {}}, {"S-1-1-0"}},
    {"EmptyList", Place::kFile, {kSystem, true, {}}, {}},
    {"OwnerMayChangeTheList", Place::kFile, {kUsers, true, {}}, {kUsers}},
    {"OwnerIsHeldByAnEntry", Place::kFile, {kUsers, true, {{"S-1-3-4", READ_CONTROL, true, false}}}, {}},
    {"OwnerIsFreedByAnEntry", Place::kFile, {kUsers, true, {{"S-1-3-4", WRITE_DAC, true, false}}}, {kUsers}},
    {"EachOnce",
     Place::kFile,
     {kUsers,
      true,
      {{kUsers, DELETE, true, false}, {"S-1-1-0", DELETE, true, false}, {kUsers, WRITE_DAC, true, false}}},
     {kUsers, "S-1-1-0"}},
};

class AccessRule : public testing::TestWithParam<Case> {};

TEST_P(AccessRule, NamesThoseWhoCouldReplaceTheFile) {
  const Case& one = GetParam();
  EXPECT_EQ(one.expected, WhoCanReplace(one.facts, one.place, {kOwn}));
}

INSTANTIATE_TEST_SUITE_P(Of, AccessRule, testing::ValuesIn(kCases),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace varnel::test
