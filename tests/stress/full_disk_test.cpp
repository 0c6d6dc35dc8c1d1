#include "base/windows_handles.h"
#include "stress/marked_report.h"
#include "support/soak.h"

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <vector>

namespace varnel::test {
namespace {

// What is left of the volume when a report is saved: so many bytes, or not even a file's name.
constexpr int kNoFile = -1;

struct FullDiskCase {
  const wchar_t* softwareId;
  std::size_t bodySize;
  int left;
  HRESULT expected;
};

void PrintTo(const FullDiskCase& tried, std::ostream* out) {
  *out << (tried.softwareId == kServer ? "server" : "agent") << ", " << tried.bodySize << " bytes, "
       << tried.left << " left";
}

// full_disk.sh mounts the volume and names its drive.
class FullDisk : public testing::TestWithParam<FullDiskCase> {
 protected:
  void SetUp() override {
    wchar_t drive[10] = {};
    ASSERT_EQ(2u, GetEnvironmentVariableW(L"VARNEL_VOLUME", drive, 10)) << "run by full_disk.sh";
    root = drive;
    for (const auto& made : {AgentEvents(), ServerEvents(), Names()})
      ASSERT_TRUE(CreateDirectoryW(made.c_str(), nullptr));
    SetUpAgent(root, ServerEvents());
    SetMachineNumber(kLog, L"LogLevel", 1);
  }
  void TearDown() override {
    std::error_code ignored;
    for (const auto& made : {AgentEvents(), ServerEvents(), Names(), Filler()})
      std::filesystem::remove_all(made, ignored);
  }
  static void TearDownTestSuite() {
    std::printf("figures: full disk: %d saves refused, then %d whole reports\n", refused, whole);
  }

  // Fills the volume up to that.
  void LeaveOnly(int left) const {
    if (left == kNoFile) {
      int count = 0;
      do ASSERT_LT(count, 1000);
      while (FileHandle(Create(Names() + L"\\" + std::to_wstring(count++))));
      return;
    }
    const FileHandle filler(Create(Filler()));
    const std::vector<char> zeros(4096);
    DWORD written = 0;
    while (WriteFile(filler.Get(), zeros.data(), static_cast<DWORD>(zeros.size()), &written, nullptr))
      ASSERT_EQ(zeros.size(), written);
    ASSERT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), GetLastError());
    if (left == 0) return;
    ASSERT_NE(INVALID_SET_FILE_POINTER, SetFilePointer(filler.Get(), -left, nullptr, FILE_END));
    ASSERT_TRUE(SetEndOfFile(filler.Get()));
  }
  void MakeRoom() const {
    DeleteFileW(Filler().c_str());
    for (const auto& name : FilesIn(Names())) DeleteFileW((Names() + L"\\" + name).c_str());
  }

  static HANDLE Create(const std::wstring& path) {
    return CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  }
  std::wstring AgentEvents() const { return root + L"\\AgentEvents"; }
  std::wstring ServerEvents() const { return root + L"\\ServerEvents"; }
  std::wstring Filler() const { return root + L"\\filler"; }
  std::wstring Names() const { return root + L"\\names"; }

  RegistrySandbox registry;
  std::wstring root;
  static inline int refused = 0;
  static inline int whole = 0;
};

TEST_P(FullDisk, RefusesEveryReportAndLeavesNothingBehindUntilThereIsRoom) {
  const FullDiskCase& tried = GetParam();
  const Library library;
  const auto report = library.CreateReport();
  ASSERT_EQ(S_OK, FillMarked(*report, tried.softwareId, L"full", tried.bodySize));
  ASSERT_NO_FATAL_FAILURE(LeaveOnly(tried.left));
  for (int i = 0; i < Count(10, 100); ++i, ++refused) {
    ASSERT_EQ(tried.expected, report->Save());
    ASSERT_EQ(0u, ReadReports({AgentEvents(), ServerEvents()}).files);
  }
  MakeRoom();
  EXPECT_EQ(S_OK, report->Save());
  const Reports saved = ReadReports({AgentEvents(), ServerEvents()});
  EXPECT_EQ(1u, saved.files);
  EXPECT_EQ(std::set<std::string>{"full"}, saved.marks);
  whole += static_cast<int>(saved.marks.size());
}

constexpr std::size_t kSmall = 200;
constexpr std::size_t kLarge = 200'000;

INSTANTIATE_TEST_SUITE_P(All, FullDisk,
                         testing::Values(FullDiskCase{kServer, kSmall, 0, kRefused},
                                         FullDiskCase{kAgent, kSmall, 0, kNotCreated},
                                         FullDiskCase{kServer, kLarge, 0, kRefused},
                                         FullDiskCase{kAgent, kLarge, 0, kNotCreated},
                                         FullDiskCase{kServer, kLarge, 102'400, kRefused},
                                         FullDiskCase{kAgent, kLarge, 102'400, kNotCreated},
                                         FullDiskCase{kServer, kSmall, kNoFile, kNotCreated},
                                         FullDiskCase{kAgent, kSmall, kNoFile, kNotCreated}));

}  // namespace
}  // namespace varnel::test
