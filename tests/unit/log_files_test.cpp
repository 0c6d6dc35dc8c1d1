#include "support/temp_folder.h"
#include "support/text.h"
#include "unit/log_fixture.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <thread>
#include <utility>

namespace varnel {
namespace {

class LogFilesTest : public LogTest {
 protected:
  LogFilesTest() { std::snprintf(files.basePath, sizeof(files.basePath), "%ls", folder.File(L"a").c_str()); }
  ~LogFilesTest() override { CloseLogFiles(); }

  void Open(LogFileSlot& slot, HANDLE mutex = nullptr) {
    const LogFileNames names = LogFileNamesFor(files.basePath);
    slot.file = OpenLogFile(&slot == &files.main ? names.main : names.error, OPEN_ALWAYS);
    ASSERT_NE(INVALID_HANDLE_VALUE, slot.file);
    slot.mutex = mutex;
  }

  // Each file with letter and text of its lines, and with whatever is no line in brackets.
  std::string Content() const {
    const std::string form = "(?:[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\t([a-zA-Z?])\t#" +
                             std::to_string(static_cast<int>(GetCurrentThreadId())) +
                             "\tfacility(\tEvt)?\t([^\r]*)\r\n)|.+";
    std::string content;
    for (const auto& file : test::FilesIn(folder.Path())) {
      content += (content.empty() ? "" : " ") + test::Narrow(file) + "=";
      for (const auto& line : test::RegexMatches(test::ReadBytes(folder.File(file)), form.c_str()))
        content += line[1].empty() ? "(" + line[0] + ")" : line[1] + line[2] + line[3] + ";";
    }
    return content;
  }

  test::TempFolder folder;
  LogFiles& files = GetLogFiles();
};

TEST_F(LogFilesTest, LinesHaveTheirFormAndErrorsGoToBothFiles) {
  LogError(L"facility", L"closed");
  Open(files.main, INVALID_HANDLE_VALUE);
  LogError(L"facility", L"closed, too");
  files.main.mutex = CreateMutexW(nullptr, FALSE, nullptr);
  Open(files.error);
  SetLogDetailList("f");
  for (int level = 0; level <= 7; ++level) LogMessage(level, L"facility", L"%d", level);
  CloseLogFiles();
  EXPECT_EQ("a.log=?0;e1;w2;i3;x4;E5;W6;I7; a_error.log=e1;E5;", Content());
  EXPECT_EQ(nullptr, files.main.file);
  EXPECT_EQ(INVALID_HANDLE_VALUE, files.main.mutex);
  EXPECT_FALSE(IsInDetailList("f"));
  const LogFileNames names = LogFileNamesFor("a");
  EXPECT_STREQ("a_backup.log", names.mainBackup);
  EXPECT_STREQ("a_error_backup.log", names.errorBackup);
}

// Lines "1", "2" ... into the error log.
TEST_F(LogFilesTest, FileThatReachesTheLimitMovesThroughTheBackups) {
  const std::size_t lineSize = 36 + std::to_string(GetCurrentThreadId()).size();
  for (const auto& row : test::Rules("rotation")) {
    for (const auto& file : test::RegexMatches(row[1], "([^ ]+)=([^ ]+)"))
      test::WriteBytes(folder.File(test::Wide(file[1])), file[2]);
    Open(files.error);
    settings.sizeLimit = row[0] == "0" ? 1 : static_cast<std::uint32_t>(std::stoul(row[0]) * lineSize);
    for (int i = 1; i <= std::stoi(row[2]); ++i) LogError(L"facility", L"%d", i);
    CloseLogFiles();
    EXPECT_EQ(row[3], Content()) << testing::PrintToString(row);
    for (const auto& file : test::FilesIn(folder.Path())) EXPECT_TRUE(DeleteFileW(folder.File(file).c_str()));
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
  EXPECT_EQ("a.log= a_backup_1.log=Iz; a_backup_2.log=Ix;", Content());
}

TEST_F(LogFilesTest, MutexIsWaitedForReleasedAndNoHindranceWhenItDoesNotCome) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  Open(files.main, mutex);
  EXPECT_EQ(10'000u, std::exchange(files.main.mutexWait, 20));
  std::jthread([&] { WaitForSingleObject(mutex, INFINITE); }).join();  // a thread that ends abandons it
  LogInfo(L"facility", L"abandoned");
  std::jthread([&] {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex, 0)) << "it was given back";
  }).join();
  LogInfo(L"facility", L"free");
  std::jthread holder([&](const std::stop_token& stop) {
    WaitForSingleObject(mutex, 10'000);
    while (!stop.stop_requested()) Sleep(1);
    ReleaseMutex(mutex);
  });
  Sleep(50);
  LogInfo(L"facility", L"%s", std::wstring(4096, L'm').c_str());
  const std::string written = test::ReadBytes(folder.File(L"a.log"));
  EXPECT_THAT(written, testing::ContainsRegex("\tfacility\tabandoned\r\n.*\tfacility\tfree\r\n"));
  EXPECT_THAT(written, testing::HasSubstr("\tfacility\t[LOG MUTEX LOCKED] mmm"));
  EXPECT_EQ(4096u, written.size() - written.rfind('\n') - 1) << "cut to the line's buffer";
}

TEST_F(LogFilesTest, SharedModeTagsLinesAndNeverRotates) {
  SetProcessTag(L"Evt");
  settings.sharedLog = true;
  Open(files.main);
  settings.sizeLimit = 1;
  LogInfo(L"facility", L"x");
  EXPECT_EQ("a.log=I\tEvtx;", Content());
}

}  // namespace
}  // namespace varnel
