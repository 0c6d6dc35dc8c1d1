#include "support/temp_folder.h"
#include "support/text.h"
#include "unit/log_fixture.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <thread>
#include <utility>

namespace varnel {
namespace {

// What stands in each file of a folder: the letter and the text of each line.
using Files = std::map<std::string, std::string>;

class LogFilesTest : public LogTest {
 protected:
  LogFilesTest() {
    std::snprintf(files.basePath, sizeof(files.basePath), "%ls", folder.File(L"agent").c_str());
  }
  ~LogFilesTest() override { CloseLogFiles(); }

  void Open(LogFileSlot& slot, HANDLE mutex = nullptr) {
    const LogFileNames names = LogFileNamesFor(files.basePath);
    slot.file = OpenLogFile(&slot == &files.main ? names.main : names.error, OPEN_ALWAYS);
    ASSERT_NE(INVALID_HANDLE_VALUE, slot.file);
    slot.mutex = mutex;
  }

  // Lines must have their form.
  Files Content() const {
    const std::string form = "(?:[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\t([a-zA-Z?])\t#" +
                             std::to_string(static_cast<int>(GetCurrentThreadId())) +
                             "\tfacility(\tEvt)?\t([^\r]*)\r\n)|.+";
    Files content;
    for (const auto& file : test::FilesIn(folder.Path())) {
      std::string& told = content[test::Narrow(file)];
      for (const auto& line : test::RegexMatches(test::ReadBytes(folder.File(file)), form.c_str()))
        told += line[1].empty() ? "(" + line[0] + ")" : line[1] + line[2] + line[3] + ";";
    }
    return content;
  }

  test::TempFolder folder;
  LogFiles& files = GetLogFiles();
};

TEST_F(LogFilesTest, NamesAreDerivedFromTheBasePath) {
  const LogFileNames names = LogFileNamesFor("C:\\Logs\\agent");
  EXPECT_STREQ("C:\\Logs\\agent.log", names.main);
  EXPECT_STREQ("C:\\Logs\\agent_error.log", names.error);
  EXPECT_STREQ("C:\\Logs\\agent_backup.log", names.mainBackup);
  EXPECT_STREQ("C:\\Logs\\agent_error_backup.log", names.errorBackup);
}

TEST_F(LogFilesTest, LinesHaveTheirFormAndErrorsGoToBothFiles) {
  LogError(L"facility", L"closed");
  Open(files.main, INVALID_HANDLE_VALUE);
  LogError(L"facility", L"closed, too");
  Open(files.main);
  Open(files.error);
  for (int level = 0; level <= 7; ++level) LogMessage(level, L"facility", L"%d", level);
  EXPECT_EQ((Files{{"agent.log", "?0;e1;w2;i3;x4;E5;W6;I7;"}, {"agent_error.log", "e1;E5;"}}), Content());
}

TEST_F(LogFilesTest, LongLineIsCutToTheLineBuffer) {
  Open(files.main);
  LogInfo(L"facility", L"%s", std::wstring(4096, L'm').c_str());
  EXPECT_EQ(4096u, test::ReadBytes(folder.File(L"agent.log")).size());
}

struct Rotation {
  std::size_t limit;  // in lines; 0 for one byte
  Files before;
  int lines;
  Files after;
};

// Lines "1", "2" ... into the error log, with these files there at first.
TEST_F(LogFilesTest, FileThatReachesTheLimitMovesThroughTheBackups) {
  const std::string name = "agent_error_backup_";
  Files thirteen{{"agent_error.log", ""}};
  for (int n = 1; n <= 10; ++n) {
    const int line = 14 - n;
    thirteen[name + std::to_string(n) + ".log"] = "E" + std::to_string(line) + ";";
  }
  const Rotation rows[] = {
      {3, {}, 2, {{"agent_error.log", "E1;E2;"}}},
      {3, {}, 3, {{"agent_error.log", ""}, {name + "1.log", "E1;E2;E3;"}}},
      {3, {}, 4, {{"agent_error.log", "E4;"}, {name + "1.log", "E1;E2;E3;"}}},
      {0, {}, 13, thirteen},
      {0,
       {{name + "3.log", "third"}, {name + "10.log", "tenth"}},
       1,
       {{"agent_error.log", ""},
        {name + "1.log", "E1;"},
        {name + "4.log", "(third)"},
        {name + "10.log", "(tenth)"}}},
  };
  const std::size_t lineSize = 36 + std::to_string(GetCurrentThreadId()).size();
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    for (const auto& [file, content] : row.before) test::WriteBytes(folder.File(test::Wide(file)), content);
    Open(files.error);
    settings.sizeLimit = static_cast<std::uint32_t>(row.limit == 0 ? 1 : row.limit * lineSize);
    for (int i = 1; i <= row.lines; ++i) LogError(L"facility", L"%d", i);
    CloseLogFiles();
    EXPECT_EQ(row.after, Content());
    for (const auto& file : test::FilesIn(folder.Path())) DeleteFileW(folder.File(file).c_str());
  }
}

TEST_F(LogFilesTest, RotationWhoseReopenFailsIsTriedAgainAtTheNextLine) {
  Open(files.main);
  settings.sizeLimit = 1;
  std::strcat(files.basePath, "\\missing");
  LogInfo(L"facility", L"x");
  EXPECT_EQ(INVALID_HANDLE_VALUE, files.main.file);
  *std::strrchr(files.basePath, '\\') = '\0';
  LogInfo(L"facility", L"y");
  LogInfo(L"facility", L"z");
  EXPECT_EQ("Iz;", Content()["agent_backup_1.log"]);
}

TEST_F(LogFilesTest, MutexIsWaitedForReleasedAndNoHindranceWhenItDoesNotCome) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const auto hold = [&] { WaitForSingleObject(mutex, INFINITE); };
  Open(files.main, mutex);
  EXPECT_EQ(10'000u, std::exchange(files.main.mutexWait, 20));
  std::jthread(hold).join();  // a thread that ends abandons it
  LogInfo(L"facility", L"abandoned");
  bool held = false;
  std::jthread([&] {
    held = WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0;
    LogInfo(L"facility", L"free");
    Sleep(0);
    ReleaseMutex(mutex);
  }).join();
  EXPECT_TRUE(held) << "it was given back";
  std::jthread holder([&](const std::stop_token& stop) {
    hold();
    while (!stop.stop_requested()) Sleep(1);
    ReleaseMutex(mutex);
  });
  Sleep(50);
  LogInfo(L"facility", L"locked");
  const std::string written = test::ReadBytes(folder.File(L"agent.log"));
  EXPECT_THAT(written, testing::ContainsRegex("\tfacility\tabandoned\r\n.*\tfacility\tfree\r\n"));
  EXPECT_THAT(written, testing::EndsWith("\tfacility\t[LOG MUTEX LOCKED] locked\r\n"));
}

TEST_F(LogFilesTest, SharedModeTagsLinesAndNeverRotates) {
  SetProcessTag(L"Evt");
  settings.sharedLog = true;
  Open(files.main);
  settings.sizeLimit = 1;
  LogInfo(L"facility", L"x");
  EXPECT_EQ((Files{{"agent.log", "I\tEvtx;"}}), Content());
}

TEST_F(LogFilesTest, ClosingGivesFilesAndMutexesBack) {
  Open(files.main, CreateMutexW(nullptr, FALSE, nullptr));
  SetLogDetailList("f");
  CloseLogFiles();
  EXPECT_EQ(nullptr, files.main.file);
  EXPECT_EQ(INVALID_HANDLE_VALUE, files.main.mutex);
  EXPECT_FALSE(IsInDetailList("f"));
  EXPECT_TRUE(DeleteFileW(folder.File(L"agent.log").c_str()));
}

}  // namespace
}  // namespace varnel
