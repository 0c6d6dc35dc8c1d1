#include "logging/levels.h"
#include "logging/log_fixture.h"
#include "support/captured_output.h"
#include "support/trace_reader.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <regex>
#include <thread>

namespace varnel {
namespace {

using testing::ElementsAre;

constexpr auto kStampPattern = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";

std::string Thread() {
  char text[16];
  std::snprintf(text, sizeof(text), "%4d", static_cast<int>(GetCurrentThreadId()));
  return text;
}

TEST_F(LogTest, LevelAndDetailListDecideWhatPasses) {
  LogDetail(L"Quorvel", L"no");
  LogInfo(L"Quorvel", L"info");
  LogError(L"Quorvel", L"error");
  LogMessage(1, L"Quorvel", L"one");
  SetLogDetailList("other;QUORVEL");
  LogDetail(L"Quorvel", L"listed");
  LogDetail(L"Quor", L"no");
  SetLogLevel(1);
  LogError(L"x", L"no");
  EXPECT_THAT(sink.Texts(), ElementsAre("info", "error", "one", "listed"));
  EXPECT_EQ(5, sink.lines.at(1).level);
}

TEST_F(LogTest, FormatsFollowTheMicrosoftRuntime) {
  LogInfo(L"f", L"%s|%hs|%S|%d|%04u|%x|%c", L"w\u00E9", "narrow", "also", -5, 7u, 0xAB, L'z');
  LogInfo(L"f", L"%s %hs", nullptr, nullptr);
  LogInfo(nullptr, nullptr);
  LogInfo(L"a facility of more than 18", L"x");
  LogInfo(L"f", L"\u4E2D\xD83D\xDE00");
  EXPECT_THAT(sink.Texts(),
              ElementsAre("w\xE9|narrow|also|-5|0007|ab|z", "(null) (null)", "???", "x", "???"));
  EXPECT_EQ("???", sink.lines.at(2).facility);
  EXPECT_EQ("a facility of more", sink.lines.at(3).facility);
}

TEST_F(LogTest, LineFeedsSeparateLines) {
  LogInfo(L"f", L"a\nb\r\nc\n");
  EXPECT_THAT(sink.Texts(), ElementsAre("a", "b\r", "c", ""));
}

TEST_F(LogTest, LongMessageIsCut) {
  for (const std::size_t length : std::initializer_list<std::size_t>{4095, 4096, 4097, 10'000}) {
    LogInfo(L"f", L"%s", std::wstring(length, L'm').c_str());
    EXPECT_EQ(std::string(std::min<std::size_t>(length, 4096), 'm'), sink.lines.back().text);
  }
}

TEST_F(LogTest, BadArgumentGivesAMarkedLineInEveryThread) {
  const auto logBadly = [] {
    for (int i = 0; i < 50; ++i) LogInfo(L"f", L"%s", reinterpret_cast<const wchar_t*>(std::uintptr_t{8}));
  };
  std::thread threads[4];
  for (auto& thread : threads) thread = std::thread(logBadly);
  logBadly();
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(250u, sink.lines.size());
  for (const auto& line : sink.lines) EXPECT_EQ("??? bad message format", line.text);
}

TEST_F(LogTest, ConsoleLineHasItsForm) {
  SetConsoleLogging(1);
  const test::CapturedOutput output;
  LogError(L"Quorvel", L"one");
  LogMessage(42, L"no", L"dropped");
  LogMessage(-3, L"longfacility", L"two");
  const std::regex form(std::string(kStampPattern) + " E " + Thread() + " Quorvel  one\n" + kStampPattern +
                        " \\? " + Thread() + " longfacility two\n");
  EXPECT_TRUE(std::regex_match(output.Text(), form)) << output.Text();
}

TEST_F(LogTest, LinesOfOneMessageCarryOneStampWithMillisecondsOnRequest) {
  SetConsoleLogging(1);
  SetLogHiRes(1);
  const test::CapturedOutput output;
  LogInfo(L"f", L"a\nb");
  const std::string text = output.Text();
  const auto second = text.find('\n') + 1;
  EXPECT_TRUE(std::regex_match(text.substr(0, 23), std::regex(std::string(kStampPattern) + "\\.[0-9]{3}")));
  EXPECT_EQ(text.substr(0, 23), text.substr(second, 23));
}

TEST_F(LogTest, AccountStandsBeforeTheTextOnRequest) {
  SetLogUserName(1);
  LogInfo(L"f", L"text");
  EXPECT_TRUE(std::regex_match(sink.lines.at(0).text, std::regex("[^\\\\\t]+\\\\[^\t*]+\ttext")))
      << sink.lines[0].text;
  if (!ImpersonateSelf(SecurityImpersonation)) FAIL() << GetLastError();
  LogInfo(L"f", L"text");
  RevertToSelf();
  EXPECT_THAT(sink.lines.at(1).text, testing::EndsWith("*\ttext"));
}

TEST_F(LogTest, TraceRecordIsAHeaderAndAText) {
  GetLogSettings().traceMailslot = true;
  SetProcessTag(L"Evt");
  LogInfo(L"Quorvel", L"nobody reads");
  test::TraceReader reader;
  LogInfo(L"Quorvel", L"first");
  LogError(L"Quorvel", L"%s", std::wstring(500, L'x').c_str());
  const auto records = reader.ReadRecords();
  ASSERT_EQ(2u, records.size());
  EXPECT_EQ(records[0].header[0] + 1, records[1].header[0]);
  for (const auto& record : records) {
    EXPECT_EQ(1u, record.header[1]);
    EXPECT_EQ(1u, record.header[2]);
    EXPECT_EQ(record.text.size(), record.header[3]);
    EXPECT_EQ('\0', record.text.back());
  }
  const std::regex form(std::string(kStampPattern) + " I Evt " + Thread() + " Quorvel  first");
  EXPECT_TRUE(std::regex_match(records[0].text.c_str(), form)) << records[0].text;
  EXPECT_EQ(400u, records[1].text.size());
  EXPECT_THAT(records[1].text.c_str(), testing::EndsWith("xxx"));
}

TEST_F(LogTest, SequenceCountsRecordsThatWereSentAndNoOthers) {
  GetLogSettings().traceMailslot = true;
  std::uint32_t before = 0;
  {
    test::TraceReader reader;
    LogInfo(L"f", L"x");
    before = reader.ReadRecords().at(0).header[0];
  }
  for (int i = 0; i < 5; ++i) LogInfo(L"f", L"nobody reads");
  test::TraceReader reader;
  constexpr int kThreads = 4;
  constexpr int kLines =
      30;  // all unread at once must fit: Wine's mailslot blocks its writer at the 279th message
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < kLines; ++n) LogInfo(L"f", L"line");
    });
  }
  for (auto& thread : threads) thread.join();
  // Headers and texts of several threads may come in any order, each of them whole. One writer at a time has
  // the mailslot: a line that comes meanwhile is not traced, and not counted.
  std::vector<std::uint32_t> sequence;
  std::size_t texts = 0;
  for (const auto& message : reader.ReadMessages()) {
    if (message.size() == 16)
      sequence.push_back(*reinterpret_cast<const std::uint32_t*>(message.data()));
    else
      texts += std::string(message.c_str()).ends_with(" line") ? 1u : 0u;
  }
  ASSERT_FALSE(sequence.empty());
  EXPECT_EQ(sequence.size(), texts);
  std::sort(sequence.begin(), sequence.end());
  EXPECT_EQ(before + 1, sequence.front());
  EXPECT_EQ(before + sequence.size(), sequence.back());
  EXPECT_EQ(sequence.end(), std::adjacent_find(sequence.begin(), sequence.end()));
}

TEST(LogLevels, HaveTheirLetters) {
  std::string letters;
  for (int level = 0; level <= 9; ++level) letters += LevelLetter(level);
  EXPECT_EQ("?ewixEWIX?", letters);
}

}  // namespace
}  // namespace varnel
