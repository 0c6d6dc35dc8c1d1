#include "logging/log_fixture.h"
#include "support/registry_sandbox.h"

#include <set>

namespace varnel {
namespace {

using test::kLog;

class LogSettingsTest : public LogTest {
 protected:
  void SetText(const wchar_t* name, const std::wstring& text) {
    registry.SetText(kLog, name, text);
    ReadLogSettings();
  }
  void SetNumber(const wchar_t* name, DWORD number) {
    registry.SetNumber(kLog, name, number);
    ReadLogSettings();
  }

  test::RegistrySandbox registry;
  const LogSettings& settings = GetLogSettings();
};

TEST_F(LogSettingsTest, LevelAndSizeAreBroughtIntoRange) {
  EXPECT_EQ(7, SetLogLevel(0));
  EXPECT_EQ(1, SetLogLevel(-5));
  EXPECT_EQ(1, SetLogLevel(9));
  EXPECT_EQ(8, SetLogLevel(3));
  EXPECT_EQ(3, settings.level);
  struct {
    std::int32_t megabytes;
    std::uint32_t bytes;
  } const rows[] = {{0, 1'048'576}, {-1, 1'048'576}, {1, 1'048'576}, {100, 104'857'600}, {500, 104'857'600}};
  for (const auto& row : rows) {
    SetLogSize(row.megabytes);
    EXPECT_EQ(row.bytes, settings.sizeLimit);
  }
}

TEST_F(LogSettingsTest, RegistryValuesAreTakenOverWhereTheyCanBeUsed) {
  ReadLogSettings();
  EXPECT_EQ(7, settings.level);
  SetText(L"LogLevel", L"3");
  EXPECT_EQ(7, settings.level);
  SetNumber(L"LogLevel", 0);
  EXPECT_EQ(1, settings.level);
  SetNumber(L"LogLevel", 9);
  EXPECT_EQ(8, settings.level);
  EXPECT_EQ(10'485'760u, settings.sizeLimit);
  SetNumber(L"LogSize", 2);
  EXPECT_EQ(2'097'152u, settings.sizeLimit);
  registry.SetBytes(kLog, L"LogSize", REG_QWORD, std::vector<BYTE>(8, 1));
  ReadLogSettings();
  EXPECT_EQ(2'097'152u, settings.sizeLimit);
  SetNumber(L"LogHiRes", 4);
  EXPECT_TRUE(settings.highResolution);
}

TEST_F(LogSettingsTest, LetterUInTheFlagsNamesUsers) {
  struct {
    std::wstring flags;
    bool before;
    bool after;
  } const rows[] = {{L"abcu", false, true},
                    {L"U", false, true},
                    {L"ABC", true, false},
                    {L"", true, false},
                    {std::wstring(32, L'U'), false, false}};
  for (const auto& row : rows) {
    SetLogUserName(row.before);
    SetText(L"LogFlags", row.flags);
    EXPECT_EQ(row.after, settings.userInLines);
  }
}

TEST_F(LogSettingsTest, DetailListIsParsedAgainOnlyWhenItsTextChanges) {
  SetText(L"LogDetailList", L"Quorvel;netif_w");
  EXPECT_TRUE(IsInDetailList("QUORVEL"));
  EXPECT_TRUE(IsInDetailList("netif_w"));
  EXPECT_FALSE(IsInDetailList("netif"));
  CloseLogFiles();
  EXPECT_FALSE(IsInDetailList("Quorvel"));
  SetText(L"LogDetailList", L"QUORVEL;NETIF_W");
  EXPECT_FALSE(IsInDetailList("Quorvel")) << "only the letter case differs";
  SetText(L"LogDetailList", L"Quorvel");
  EXPECT_TRUE(IsInDetailList("Quorvel"));
  EXPECT_FALSE(IsInDetailList("netif_w"));
}

TEST_F(LogSettingsTest, DetailListKeepsFifteenItems) {
  std::wstring list;
  for (int i = 1; i <= 20; ++i) list += L"f" + std::to_wstring(i) + L";";
  SetText(L"LogDetailList", list);
  EXPECT_TRUE(IsInDetailList("f15"));
  EXPECT_FALSE(IsInDetailList("f16"));
  EXPECT_FALSE(IsInDetailList(""));
  SetLogDetailList("a;;b");
  EXPECT_TRUE(IsInDetailList(""));
  EXPECT_TRUE(IsInDetailList("b"));
}

TEST_F(LogSettingsTest, DetailListThatFillsItsBufferIsIgnored) {
  SetText(L"LogDetailList", L"kept");
  registry.SetBytes(kLog, L"LogDetailList", REG_BINARY, std::vector<BYTE>(256, 'x'));
  ReadLogSettings();
  EXPECT_TRUE(IsInDetailList("kept"));
  registry.SetBytes(kLog, L"LogDetailList", REG_BINARY, std::vector<BYTE>(255, 'x'));
  ReadLogSettings();
  EXPECT_TRUE(IsInDetailList(std::string(255, 'x').c_str()));
}

TEST_F(LogSettingsTest, ProcessTagIsTheTextOrTheFixedTagOfACode) {
  EXPECT_STREQ("Unk", ProcessTag());
  SetUpLogging();
  EXPECT_STREQ("Evt", ProcessTag());
  EXPECT_TRUE(settings.traceMailslot);
  EXPECT_EQ(1, settings.console);
  SetProcessTag(L"A text that is too long");
  EXPECT_STREQ("A text that is ", ProcessTag());
  std::set<std::string> tags;
  for (int code = 1; code <= 10; ++code) {
    GetLogSettings().processTagCode = code;
    tags.insert(ProcessTag());
    EXPECT_EQ(3u, std::string(ProcessTag()).size());
  }
  EXPECT_EQ(10u, tags.size());
  GetLogSettings().processTagCode = 11;
  EXPECT_STREQ("A text that is ", ProcessTag());
}

}  // namespace
}  // namespace varnel
