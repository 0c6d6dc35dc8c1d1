#include "support/captured_output.h"
#include "support/registry_sandbox.h"
#include "support/text.h"
#include "support/trace_reader.h"
#include "unit/log_fixture.h"

#include <windows.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <thread>

namespace varnel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr char kStamp[] = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";

std::string Thread() {
  char text[16];
  std::snprintf(text, sizeof(text), "%4d", static_cast<int>(GetCurrentThreadId()));
  return text;
}

TEST_F(LogTest, LevelAndDetailListDecideWhatPasses) {
  LogDetail(L"Quorvel", L"no");
  LogInfo(L"Quorvel", L"info");
  LogError(L"Quorvel", L"error");
  SetLogDetailList("other;;QUORVEL");
  LogDetail(L"Quorvel", L"listed");
  LogDetail(L"Quor", L"no");
  LogDetail(L"", L"listed");
  EXPECT_EQ(7, SetLogLevel(0));
  LogMessage(1, L"x", L"one");
  LogError(L"x", L"no");
  EXPECT_EQ(1, SetLogLevel(9));
  LogDetail(L"x", L"all");
  EXPECT_EQ(8, SetLogLevel(3));
  EXPECT_THAT(lines, ElementsAre("7 Quorvel: info", "5 Quorvel: error", "8 Quorvel: listed", "8 : listed",
                                 "1 x: one", "8 x: all"));
}

TEST_F(LogTest, DetailListKeepsFifteenItems) {
  std::string list;
  for (int i = 1; i <= 20; ++i) list += "f" + std::to_string(i) + ";";
  SetLogDetailList(list.c_str());
  EXPECT_TRUE(IsInDetailList("F15"));
  EXPECT_FALSE(IsInDetailList("f16"));
  EXPECT_FALSE(IsInDetailList(""));
}

TEST_F(LogTest, FormatsFollowTheMicrosoftRuntime) {
  LogInfo(L"f", L"%s|%hs|%S|%d|%04u|%x|%c", L"w\u00E9", "narrow", "also", -5, 7u, 0xAB, L'z');
  LogInfo(L"f", L"%s %hs", nullptr, nullptr);
  LogInfo(nullptr, nullptr);
  LogInfo(L"a facility of more than 18", L"a\nb\r\nc\n");
  LogInfo(L"f", L"\u4E2D\xD83D\xDE00");
  LogInfo(L"\u4E2D\xDBFF\xDFFF\xDBFF\xE000 is cut in between", L"x");
  EXPECT_THAT(lines,
              ElementsAre("7 f: w\xE9|narrow|also|-5|0007|ab|z", "7 f: (null) (null)", "7 ???: ???",
                          "7 a facility of more: a", "7 a facility of more: b\r", "7 a facility of more: c",
                          "7 a facility of more: ", "7 f: ???", "7 ????? is cut in be: x"));
}

TEST_F(LogTest, LongMessageIsCut) {
  for (const unsigned length : {4095u, 4096u, 4097u, 10'000u}) {
    LogInfo(L"f", L"%s", std::wstring(length, L'm').c_str());
    EXPECT_EQ("7 f: " + std::string(std::min(length, 4096u), 'm'), lines.back());
  }
}

TEST_F(LogTest, BadArgumentGivesAMarkedLineInEveryThread) {
  const auto logBadly = [] {
    for (int i = 0; i < 50; ++i) LogInfo(L"f", L"%s", reinterpret_cast<const wchar_t*>(std::uintptr_t{8}));
  };
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(logBadly);
  }
  EXPECT_EQ(std::vector<std::string>(200, "7 f: ??? bad message format"), lines);
}

TEST_F(LogTest, ConsoleLineHasItsForm) {
  SetConsoleLogging(1);
  SetLogLevel(8);
  const test::CapturedOutput output;
  for (int level = 8; level >= 0; --level) LogMessage(level, L"longfacility", L"%d", level);
  SetLogHiRes(1);
  LogError(L"f", L"a\nb");
  const std::string text = output.Text();
  std::string expected;
  for (const char letter : {'X', 'I', 'W', 'E', 'x', 'i', 'w', 'e', '?'})
    expected +=
        std::string(kStamp) + (letter == '?' ? " \\" : " ") + letter + " " + Thread() + " longfacility .\n";
  for (const char line : {'a', 'b'})
    expected += std::string(kStamp) + "\\.[0-9]{3} E " + Thread() + " f        " + line + "\n";
  EXPECT_THAT(test::RegexParts(text, expected.c_str()), Not(IsEmpty())) << text;
  const auto last = text.rfind('\n', text.size() - 2) + 1;
  EXPECT_EQ(text.substr(last, 23), text.substr(text.rfind('\n', last - 2) + 1, 23)) << "one stamp";
}

TEST_F(LogTest, AccountStandsBeforeTheTextOnRequest) {
  SetLogUserName(1);
  LogInfo(L"f", L"text");
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  LogInfo(L"f", L"text");
  RevertToSelf();
  EXPECT_THAT(test::RegexParts(lines.at(0), "7 f: [^\\\\\t]+\\\\[^\t*]+\ttext"), Not(IsEmpty())) << lines[0];
  EXPECT_THAT(test::RegexParts(lines.at(1), "7 f: [^\\\\\t]+\\\\[^\t*]+\\*\ttext"), Not(IsEmpty()))
      << lines[1];
}

TEST_F(LogTest, TraceRecordIsAHeaderAndAText) {
  settings.traceMailslot = true;
  SetProcessTag(L"Evt");
  LogInfo(L"Quorvel", L"nobody reads");
  std::uint32_t sequence = 0;
  {
    test::TraceReader reader;
    LogInfo(L"Quorvel", L"first");
    LogError(L"Quorvel", L"%s", std::wstring(500, L'x').c_str());
    const auto records = reader.ReadRecords();
    ASSERT_EQ(2u, records.size());
    sequence = records[1].header[0];
    EXPECT_EQ(sequence, records[0].header[0] + 1);
    for (const auto& record : records) {
      EXPECT_EQ(1u, record.header[1]);
      EXPECT_EQ(1u, record.header[2]);
      EXPECT_EQ(record.text.size(), record.header[3]);
      EXPECT_EQ('\0', record.text.back());
    }
    const std::string form = std::string(kStamp) + " I Evt " + Thread() + " Quorvel  first";
    EXPECT_THAT(test::RegexParts(records[0].text.c_str(), form.c_str()), Not(IsEmpty())) << records[0].text;
    EXPECT_EQ(400u, records[1].text.size());
  }
  LogInfo(L"f", L"nobody reads");
  test::TraceReader reader;
  LogInfo(L"f", L"next");
  EXPECT_EQ(sequence + 1, reader.ReadRecords().at(0).header[0]) << "records that were not sent do not count";
}

TEST_F(LogTest, RegistryValuesAreTakenOverWhereTheyCanBeUsed) {
  const test::RegistrySandbox registry;
  const auto log = [this](const wchar_t* name, DWORD type, const std::vector<BYTE>& bytes) {
    test::SetBytes(test::kLog, name, type, bytes);
    ReadLogSettings();
    return std::make_pair(settings.level.load(), settings.sizeLimit.load() / 1'048'576);
  };
  using Both = std::pair<std::int32_t, std::uint32_t>;
  EXPECT_EQ(Both(7, 10), log(L"LogLevel", REG_SZ, {'3', 0, 0, 0}));
  EXPECT_EQ(Both(1, 10), log(L"LogLevel", REG_DWORD, {0, 0, 0, 0}));
  EXPECT_EQ(Both(8, 10), log(L"LogLevel", REG_DWORD, {9, 0, 0, 0}));
  EXPECT_EQ(Both(8, 2), log(L"LogSize", REG_BINARY, {2, 0, 0, 0}));
  EXPECT_EQ(Both(8, 2), log(L"LogSize", REG_QWORD, {7, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(Both(8, 100), log(L"LogSize", REG_DWORD, {101, 0, 0, 0}));
  EXPECT_EQ(Both(8, 1), log(L"LogSize", REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}));
  SetLogUserName(1);
  log(L"LogFlags", REG_BINARY, std::vector<BYTE>(33, 'a'));
  EXPECT_TRUE(settings.userInLines) << "too long for its buffer";
  log(L"LogFlags", REG_BINARY, std::vector<BYTE>(32, 'a'));
  EXPECT_FALSE(settings.userInLines);
  log(L"LogDetailList", REG_BINARY, std::vector<BYTE>(255, 'x'));
  log(L"LogDetailList", REG_BINARY, std::vector<BYTE>(256, 'y'));
  EXPECT_TRUE(IsInDetailList(std::string(255, 'x').c_str())) << "a text that fills its buffer is none";
}

TEST_F(LogTest, ProcessTagIsTheTextOrTheFixedTagOfACode) {
  EXPECT_STREQ("Unk", ProcessTag().text);
  const test::RegistrySandbox registry;
  SetUpLogging();
  EXPECT_STREQ("Evt", ProcessTag().text);
  EXPECT_TRUE(settings.traceMailslot && settings.console == 1);
  SetProcessTag(L"A text that is too long");
  std::set<std::string> tags;
  for (int code = 0; code <= 11; ++code) {
    settings.processTagCode = code;
    tags.insert(ProcessTag().text);
  }
  EXPECT_EQ(11u, tags.size());
  EXPECT_TRUE(tags.contains("A text that is ")) << "for codes 0 and 11";
}

}  // namespace
}  // namespace varnel
