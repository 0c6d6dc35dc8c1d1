#include "probes/os_name.h"

#include "probes/host_address.h"
#include "probes/os_name_rule.h"
#include "probes/time_text.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace varnel {
namespace {

constexpr std::uint32_t kNt = 2;

std::wstring Name(const OsFacts& facts) {
  return std::wstring(OsNameFrom(facts).value_or(L"(untouched)"));
}

TEST(OsName, OfSystemsBeforeVista) {
  const OsFacts::Extended workstation{2, true};
  const OsFacts::Extended server{2, false};
  struct {
    OsFacts facts;
    const wchar_t* name;
  } const rows[] = {
      {{}, L"Windows 3.x"},
      {{.platform = 3, .major = 5}, L"Windows 3.x"},
      {{.platform = 1, .major = 4, .minor = 0}, L"Windows 95"},
      {{.platform = 1, .major = 4, .minor = 10}, L"Windows 98"},
      {{.platform = 1, .major = 4, .minor = 90}, L"Windows Millennium"},
      {{.platform = 1, .major = 4, .minor = 1}, L"(untouched)"},
      {{.platform = 1, .major = 3, .minor = 0}, L"(untouched)"},
      {{.platform = kNt, .major = 4, .minor = 9}, L"Windows NT"},
      {{.platform = kNt, .major = 3, .minor = 51}, L"(untouched)"},
      {{.platform = kNt, .major = 5, .minor = 0}, L"Windows 2000"},
      {{.platform = kNt, .major = 5, .minor = 1}, L"Windows XP"},
      {{.platform = kNt, .major = 5, .minor = 2}, L"Windows 2003"},
      {{.platform = kNt, .major = 5, .minor = 2, .extended = workstation, .serverR2 = true}, L"Windows XP"},
      {{.platform = kNt, .major = 5, .minor = 2, .extended = server, .serverR2 = true}, L"Windows 2003 R2"},
      {{.platform = kNt, .major = 5, .minor = 2, .extended = server}, L"Windows 2003"},
      {{.platform = kNt, .major = 5, .minor = 3, .extended = server}, L"(untouched)"},
      {{.platform = kNt, .major = 7, .minor = 0, .extended = server}, L"(untouched)"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.name, Name(row.facts)) << &row - rows;
}

TEST(OsName, OfSystemsSinceVistaByTheExtendedRecord) {
  struct {
    std::uint32_t major;
    std::uint32_t minor;
    std::uint32_t again;
    const wchar_t* workstation;
    const wchar_t* server;
  } const rows[] = {
      {6, 0, 0, L"Windows Vista", L"Windows 2008"},
      {6, 1, 0, L"Windows 7", L"Windows 2008 R2"},
      {6, 2, 2, L"Windows 8 Workstation", L"Windows Server 2012"},
      {6, 3, 3, L"Windows 8.1 Workstation", L"Windows Server 2012 R2"},
      {6, 2, 3, L"Windows 8.1 Workstation", L"Windows Server 2012 R2"},
      {6, 3, 0, L"Unknown", L"Unknown"},
      {6, 4, 0, L"Unknown", L"Unknown"},
      {10, 0, 0, L"Windows 10 Workstation", L"Windows 10 Server"},
      {10, 1, 0, L"(untouched)", L"(untouched)"},
  };
  for (const auto& row : rows) {
    OsFacts facts{.platform = kNt, .major = row.major, .minor = row.minor, .minorAskedAgain = row.again};
    facts.extended = OsFacts::Extended{row.minor, true};
    EXPECT_EQ(row.workstation, Name(facts)) << row.major << '.' << row.minor;
    facts.extended->workstation = false;
    EXPECT_EQ(row.server, Name(facts)) << row.major << '.' << row.minor;
  }
  EXPECT_EQ(L"(untouched)", Name({.platform = kNt, .major = 10}));
}

TEST(OsName, OfVersionSixByTheRegistryWhenTheExtendedQueryFails) {
  struct {
    std::uint32_t minor;
    const wchar_t* server;
    const wchar_t* workstation;
  } const rows[] = {{0, L"Windows 2008", L"Windows Vista"},
                    {1, L"Windows 2008 R2", L"Windows 7"},
                    {2, L"Windows Server 2012", L"Windows 8 Workstation"},
                    {3, L"Windows Server 2012", L"Windows 8 Workstation"},
                    {4, L"Unknown", L"Unknown"}};
  for (const auto& row : rows) {
    OsFacts facts{.platform = kNt, .major = 6, .minor = row.minor};
    facts.productType = L"Server";
    EXPECT_EQ(row.server, Name(facts));
    facts.productType = L"Workstation";
    EXPECT_EQ(row.workstation, Name(facts));
    for (const wchar_t* const other : {L"N/A", L"server", L""}) {
      facts.productType = other;
      EXPECT_EQ(L"Unknown", Name(facts));
    }
  }
}

TEST(OsName, ProductTypeComesFromTheRegistryInAnyLetterCase) {
  constexpr auto kKey = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";
  test::RegistrySandbox registry;
  const auto read = [] {
    wchar_t text[260];
    EXPECT_EQ(0, ReadProductTypeText(text, 260));
    return std::wstring(text);
  };
  EXPECT_EQ(L"N/A", read());
  struct {
    std::wstring value;
    const wchar_t* type;
  } const rows[] = {{L"winnt", L"Workstation"},
                    {L"ServerNT", L"Server"},
                    {L"LanmanNT", L"Server"},
                    {L"Other", L"N/A"},
                    {std::wstring(130, L'x'), L"N/A"}};
  for (const auto& row : rows) {
    registry.SetText(kKey, L"ProductType", row.value);
    EXPECT_EQ(row.type, read());
  }
}

TEST(OsName, OfThisSystemFillsTheBuffer) {
  wchar_t name[200];
  std::fill(std::begin(name), std::end(name), L'#');
  EXPECT_EQ(0, GetOsName(name, 200));
  EXPECT_EQ(0u, std::wstring(name).find(L"Windows "));
  EXPECT_EQ(L'\0', name[199]);
}

TEST(TimeText, WritesTheRecordAsItStands) {
  struct {
    SYSTEMTIME time;
    const wchar_t* text;
  } const rows[] = {
      {{2024, 3, 4, 7, 9, 5, 3, 999}, L"2024-03-07T09:05:03"},
      {{2024, 3, 0, 7, 9, 5, 3, 0}, L"2024-03-07T09:05:03"},
      {{0, 0, 0, 0, 0, 0, 0, 0}, L"0000-00-00T00:00:00"},
      {{12345, 13, 0, 99, 25, 61, 61, 0}, L"12345-13-99T25:61:61"},
      {{65535, 65535, 9, 65535, 65535, 65535, 65535, 9}, L"65535-65535-65535T65535:65535:65535"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.text, FormatTimeText(row.time));
}

TEST(HostAddress, IsNumeric) {
  std::wstring address = L"unchanged";
  EXPECT_EQ(S_OK, GetHostNameAndAddress(address));
  EXPECT_EQ(std::wstring::npos, address.find_first_not_of(L"0123456789abcdefABCDEF.:%"))
      << "or the name resolves to nothing";
}

}  // namespace
}  // namespace varnel
