#include "support/captured_output.h"
#include "support/registry_sandbox.h"
#include "support/text.h"
#include "support/trace_reader.h"
#include "unit/log_fixture.h"

#include <windows.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <thread>
#include <tuple>

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
  SetLogDetailList("1;2;3;4;5;6;7;8;9;10;11;12;13;14;F15;F16");
  EXPECT_TRUE(IsInDetailList("f15") && !IsInDetailList("f16") && !IsInDetailList("")) << "it keeps fifteen";
}

TEST_F(LogTest, FormatsFollowTheMicrosoftRuntime) {
  LogInfo(L"f", L"%s|%hs|%S|%d|%04u|%x|%c", L"w\u00E9", "narrow", "also", -5, 7u, 0xAB, L'z');
  LogInfo(L"f", L"%s %hs", nullptr, nullptr);
  LogInfo(nullptr, nullptr);
  LogInfo(L"a facility of more than 18", L"a\nb\r\nc\n");
  LogInfo(L"f", L"\u4E2D\xD83D\xDE00");
  LogInfo(L"\u4E2D\xDBFF\xE000 is cut in between", L"x");
  LogInfo(L"seventeen letters\xDBFF\xDFFF", L"a pair takes two bytes and is not cut");
  EXPECT_THAT(lines,
              ElementsAre("7 f: w\xE9|narrow|also|-5|0007|ab|z", "7 f: (null) (null)", "7 ???: ???",
                          "7 a facility of more: a", "7 a facility of more: b\r", "7 a facility of more: c",
                          "7 a facility of more: ", "7 f: ???", "7 ??? is cut in betw: x",
                          "7 seventeen letters: a pair takes two bytes and is not cut"));
  for (const unsigned length : {4095u, 4096u, 4097u, 10'000u}) {
    LogInfo(L"f", L"%s", std::wstring(length, L'm').c_str());
    ASSERT_FALSE(lines.empty()) << length;
    EXPECT_EQ("7 f: " + std::string(std::min(length, 4096u), 'm'), lines.back()) << length;
  }
}

TEST_F(LogTest, BadArgumentGivesAMarkedLineInEveryThread) {
  const auto logBadly = [](const void* text) { LogInfo(L"f", L"%s", static_cast<const wchar_t*>(text)); };
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 50; ++k) logBadly(reinterpret_cast<const void*>(std::uintptr_t{8}));
    });
  }
  threads.clear();
  // Formatting must leave a guard page guarded, because its owner relies on it.
  void* const page = VirtualAlloc(nullptr, 1, MEM_COMMIT, PAGE_READWRITE | PAGE_GUARD);
  logBadly(page);
  MEMORY_BASIC_INFORMATION now{};
  VirtualQuery(page, &now, sizeof(now));
  EXPECT_EQ(DWORD{PAGE_READWRITE | PAGE_GUARD}, now.Protect);
  EXPECT_EQ(std::vector<std::string>(201, "7 f: ??? bad message format"), lines);
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
  const auto header = [](const std::string& message) {
    std::array<std::uint32_t, 4> fields{};
    EXPECT_EQ(sizeof(fields), message.size());
    std::memcpy(fields.data(), message.data(), std::min(sizeof(fields), message.size()));
    return fields;
  };
  std::uint32_t sequence = 0;
  {
    test::TraceReader reader;
    LogInfo(L"Quorvel", L"first");
    LogError(L"Quorvel", L"%s", std::wstring(500, L'x').c_str());
    const auto messages = reader.ReadMessages();
    ASSERT_EQ(4u, messages.size());
    sequence = header(messages[0])[0];
    for (const unsigned i : {0u, 1u}) {
      const std::string& text = messages[2 * i + 1];
      const auto size = static_cast<std::uint32_t>(text.size());
      EXPECT_THAT(header(messages[2 * i]), ElementsAre(sequence + i, 1, 1, size));
      EXPECT_EQ('\0', text.back());
    }
    const std::string form = std::string(kStamp) + " I Evt " + Thread() + " Quorvel  first";
    EXPECT_THAT(test::RegexParts(messages[1].c_str(), form.c_str()), Not(IsEmpty())) << messages[1];
    EXPECT_EQ(400u, messages[3].size());
  }
  LogInfo(L"f", L"nobody reads");
  test::TraceReader reader;
  LogInfo(L"f", L"next");
  EXPECT_EQ(sequence + 2, header(reader.ReadMessages().at(0))[0])
      << "records that were not sent do not count";
}

TEST_F(LogTest, RegistryValuesAreTakenOverWhereTheyCanBeUsed) {
  const test::RegistrySandbox registry;
  const auto log = [this](const wchar_t* name, DWORD type, const std::vector<BYTE>& bytes) {
    test::SetBytes(test::kLog, name, type, bytes);
    ReadLogSettings();
    return std::make_pair(settings.level.load(), settings.sizeLimit.load() / 1'048'576);
  };
  const std::tuple<const wchar_t*, DWORD, std::vector<BYTE>, std::int32_t, std::uint32_t> rows[] = {
      {L"LogLevel", REG_SZ, {'3', 0, 0, 0}, 7, 10},        {L"LogLevel", REG_DWORD, {0, 0, 0, 0}, 1, 10},
      {L"LogLevel", REG_DWORD, {9, 0, 0, 0}, 8, 10},       {L"LogSize", REG_BINARY, {2, 0, 0, 0}, 8, 2},
      {L"LogSize", REG_QWORD, std::vector<BYTE>(8), 8, 2}, {L"LogSize", REG_DWORD, {101, 0, 0, 0}, 8, 100},
      {L"LogSize", REG_DWORD, {255, 255, 255, 255}, 8, 1}};
  for (const auto& [name, type, bytes, level, megabytes] : rows)
    EXPECT_EQ(std::pair(level, megabytes), log(name, type, bytes)) << testing::PrintToString(bytes);
  SetLogUserName(1);
  log(L"LogFlags", REG_BINARY, std::vector<BYTE>(33, 'a'));
  EXPECT_TRUE(settings.userInLines) << "too long for its buffer";
  log(L"LogFlags", REG_BINARY, std::vector<BYTE>(32, 'a'));
  EXPECT_FALSE(settings.userInLines);
  log(L"LogDetailList", REG_BINARY, std::vector<BYTE>(255, 'x'));
  std::vector<BYTE> full(256, 'y');
  log(L"LogDetailList", REG_BINARY, full);
  EXPECT_TRUE(IsInDetailList(std::string(255, 'x').c_str()))
      << "a text that has no end in its buffer is none";
  full[1] = 0;
  log(L"LogDetailList", REG_BINARY, full);
  EXPECT_TRUE(IsInDetailList("y"));
}

TEST_F(LogTest, ProcessTagIsTheTextOrTheFixedTagOfACode) {
  EXPECT_STREQ("Unk", ProcessTag().text);
  SetUpLogging();
  EXPECT_STREQ("Evt", ProcessTag().text);
  SetProcessTag(L"A text that is too long");
  std::string tags;
  for (settings.processTagCode = 0; settings.processTagCode <= 11; ++settings.processTagCode)
    tags += ProcessTag().text + std::string(";");
  EXPECT_EQ("A text that is ;Frm;Upd;Scr;Plg;Srv;Prs;Ins;Tra;Pol;Cfg;A text that is ;", tags);
}

}  // namespace
}  // namespace varnel
