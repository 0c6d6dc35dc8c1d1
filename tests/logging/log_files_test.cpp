#include "logging/log_fixture.h"
#include "support/temp_folder.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <regex>
#include <thread>

namespace varnel {
namespace {

using testing::ElementsAre;

class LogFilesTest : public LogTest {
 protected:
  LogFilesTest() {
    SetProcessTag(L"Evt");
    const std::wstring base = folder.File(L"agent");
    std::snprintf(files.basePath, sizeof(files.basePath), "%ls", base.c_str());
    names = LogFileNamesFor(files.basePath);
  }
  ~LogFilesTest() override { CloseLogFiles(); }

  void Open(LogFileSlot& slot, const char* path, HANDLE mutex = nullptr) {
    slot.file = OpenLogFile(path, OPEN_ALWAYS);
    ASSERT_NE(INVALID_HANDLE_VALUE, slot.file);
    slot.mutex = mutex;
  }
  void OpenBoth() {
    Open(files.main, names.main);
    Open(files.error, names.error);
  }
  std::string Content(const wchar_t* name) { return test::ReadBytes(folder.File(name)); }
  // Everything behind the time stamp.
  std::string Tail(const wchar_t* name) { return Content(name).substr(19); }
  static std::string Thread() { return std::to_string(static_cast<int>(GetCurrentThreadId())); }

  test::TempFolder folder;
  LogFiles& files = GetLogFiles();
  LogFileNames names{};
};

TEST_F(LogFilesTest, NamesAreDerivedFromTheBasePath) {
  const LogFileNames derived = LogFileNamesFor("C:\\Logs\\agent");
  EXPECT_STREQ("C:\\Logs\\agent.log", derived.main);
  EXPECT_STREQ("C:\\Logs\\agent_error.log", derived.error);
  EXPECT_STREQ("C:\\Logs\\agent_backup.log", derived.mainBackup);
  EXPECT_STREQ("C:\\Logs\\agent_error_backup.log", derived.errorBackup);
}

TEST_F(LogFilesTest, LinesHaveTheirFormAndErrorsGoToBothFiles) {
  OpenBoth();
  SetLogLevel(8);
  for (int level = 0; level <= 8; ++level) LogMessage(level, L"Quorvel", L"level %d", level);
  const std::string error = Content(L"agent_error.log");
  const std::string stamp = "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\t";
  EXPECT_TRUE(std::regex_match(error, std::regex(stamp + "e\t#" + Thread() + "\tQuorvel\tlevel 1\r\n" +
                                                 stamp + "E\t#" + Thread() + "\tQuorvel\tlevel 5\r\n")))
      << error;
  const std::string main = Content(L"agent.log");
  EXPECT_EQ(9, std::count(main.begin(), main.end(), '\n'));
}

TEST_F(LogFilesTest, ClosedSlotsWriteNothing) {
  LogError(L"f", L"x");
  Open(files.main, names.main, INVALID_HANDLE_VALUE);
  LogError(L"f", L"x");
  EXPECT_EQ("", Content(L"agent.log"));
  EXPECT_FALSE(test::Exists(folder.File(L"agent_error.log")));
}

TEST_F(LogFilesTest, FileIsRotatedWhenItReachesTheLimitExactly) {
  OpenBoth();
  LogInfo(L"f", L"first");
  const auto lineSize = static_cast<std::uint32_t>(Content(L"agent.log").size());
  GetLogSettings().sizeLimit = 2 * lineSize + 1;
  LogInfo(L"f", L"again");
  EXPECT_THAT(test::FilesIn(folder.Path()), ElementsAre(L"agent.log", L"agent_error.log"));
  GetLogSettings().sizeLimit = 3 * lineSize;
  LogInfo(L"f", L"third");
  EXPECT_THAT(test::FilesIn(folder.Path()),
              ElementsAre(L"agent.log", L"agent_backup_1.log", L"agent_error.log"));
  EXPECT_EQ("", Content(L"agent.log"));
  EXPECT_EQ(3 * lineSize, Content(L"agent_backup_1.log").size());
  LogInfo(L"f", L"after");
  EXPECT_EQ(lineSize, Content(L"agent.log").size());
}

TEST_F(LogFilesTest, TenBackupsAreKeptAndTheOldestIsOverwritten) {
  Open(files.error, names.error);
  GetLogSettings().sizeLimit = 1;
  for (int i = 1; i <= 13; ++i) LogError(L"f", L"line %d", i);
  EXPECT_EQ(11u, test::FilesIn(folder.Path()).size());
  for (int n = 1; n <= 10; ++n) {
    const std::wstring name = L"agent_error_backup_" + std::to_wstring(n) + L".log";
    EXPECT_THAT(Content(name.c_str()), testing::EndsWith("line " + std::to_string(14 - n) + "\r\n"));
  }
}

TEST_F(LogFilesTest, GapInTheBackupsIsNoHindrance) {
  test::WriteBytes(folder.File(L"agent_backup_3.log"), "third");
  test::WriteBytes(folder.File(L"agent_backup_10.log"), "tenth");
  Open(files.main, names.main);
  GetLogSettings().sizeLimit = 1;
  LogInfo(L"f", L"x");
  EXPECT_THAT(test::FilesIn(folder.Path()), ElementsAre(L"agent.log", L"agent_backup_1.log",
                                                        L"agent_backup_10.log", L"agent_backup_4.log"));
  EXPECT_EQ("third", Content(L"agent_backup_4.log"));
  EXPECT_EQ("tenth", Content(L"agent_backup_10.log"));
}

TEST_F(LogFilesTest, RotationWhoseReopenFailsIsTriedAgainAtTheNextLine) {
  Open(files.main, names.main);
  GetLogSettings().sizeLimit = 1;
  const std::string path = files.basePath;
  std::snprintf(files.basePath, sizeof(files.basePath), "%s", (path + "\\missing\\agent").c_str());
  LogInfo(L"f", L"x");
  EXPECT_EQ(INVALID_HANDLE_VALUE, files.main.file);
  std::snprintf(files.basePath, sizeof(files.basePath), "%s", path.c_str());
  LogInfo(L"f", L"y");
  EXPECT_NE(INVALID_HANDLE_VALUE, files.main.file);
  LogInfo(L"f", L"z");
  EXPECT_THAT(Content(L"agent_backup_1.log"), testing::EndsWith("z\r\n"));
}

TEST_F(LogFilesTest, LockedMutexDelaysTheLineAndMarksIt) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  Open(files.main, names.main, mutex);
  files.main.mutexWait = 20;
  LogInfo(L"f", L"free");
  WaitForSingleObject(mutex, INFINITE);
  std::thread([] { LogInfo(L"f", L"locked"); }).join();
  ReleaseMutex(mutex);
  LogInfo(L"f", L"free again");
  const std::string content = Content(L"agent.log");
  EXPECT_THAT(content, testing::HasSubstr("\tf\t[LOG MUTEX LOCKED] locked\r\n"));
  EXPECT_THAT(content, testing::HasSubstr("\tf\tfree\r\n"));
  EXPECT_THAT(content, testing::HasSubstr("\tf\tfree again\r\n"));
  EXPECT_EQ(10'000u, LogFileSlot().mutexWait);
}

TEST_F(LogFilesTest, AbandonedMutexIsHeldAndReleased) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  Open(files.main, names.main, mutex);
  std::thread([&] { WaitForSingleObject(mutex, INFINITE); }).join();
  LogInfo(L"f", L"x");
  DWORD result = WAIT_FAILED;
  std::thread([&] { result = WaitForSingleObject(mutex, 0); }).join();
  EXPECT_NE(static_cast<DWORD>(WAIT_TIMEOUT), result);
  EXPECT_THAT(Content(L"agent.log"), testing::EndsWith("\tf\tx\r\n"));
}

TEST_F(LogFilesTest, SharedModeTagsLinesAndNeverRotates) {
  GetLogSettings().sharedLog = true;
  Open(files.main, names.main);
  GetLogSettings().sizeLimit = 1;
  LogInfo(L"f", L"x");
  EXPECT_EQ("\tI\t#" + Thread() + "\tf\tEvt\tx\r\n", Tail(L"agent.log"));
  EXPECT_THAT(test::FilesIn(folder.Path()), ElementsAre(L"agent.log"));
}

TEST_F(LogFilesTest, LongLineIsCutToTheLineBuffer) {
  Open(files.main, names.main);
  LogInfo(L"f", L"%s", std::wstring(4096, L'm').c_str());
  EXPECT_EQ(4096u, Content(L"agent.log").size());
}

TEST_F(LogFilesTest, ClosingGivesFilesAndMutexesBack) {
  Open(files.main, names.main, CreateMutexW(nullptr, FALSE, nullptr));
  SetLogDetailList("f");
  CloseLogFiles();
  EXPECT_EQ(nullptr, files.main.file);
  EXPECT_EQ(INVALID_HANDLE_VALUE, files.main.mutex);
  EXPECT_FALSE(IsInDetailList("f"));
  EXPECT_TRUE(DeleteFileA(names.main));
  CloseLogFiles();
}

}  // namespace
}  // namespace varnel
