// Attacks on a save by an account that may write the event folder. They run inside functions that the loaded
// library imports.

#include "dll/hostile.h"
#include "support/import_hook.h"
#include "support/trace_reader.h"

#include <gmock/gmock.h>
#include <sddl.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>
#include <utility>

namespace varnel::test {
namespace {

using HostileFolder = Hostile;

// Acts twice at the moment when the library writes an event file: before its bytes are there, and after.
struct AtWrite {
  static inline std::function<void(const std::wstring& path)> attack;

  static BOOL WINAPI Write(HANDLE handle, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* how) {
    wchar_t path[300] = {};
    GetFinalPathNameByHandleW(handle, path, 300, 0);
    const bool isEventFile = std::wstring_view(path).ends_with(L".xml");
    if (isEventFile) attack(path);
    const BOOL result = WriteFile(handle, bytes, size, written, how);
    if (isEventFile) attack(path);
    return result;
  }
};

FileHandle Open(const std::wstring& path, DWORD access, DWORD sharing) {
  return FileHandle(CreateFileW(path.c_str(), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
}

// A consumer that took a file before all of it is written would have half a report, and the save answer S_OK.
TEST_F(HostileFolder, NobodyMovesDeletesOrReplacesAFileThatIsBeingWrittenAndReadersRead) {
  constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const ImportHook hook(library.Module(), "WriteFile", &AtWrite::Write);
  const std::wstring other = folder.File(L"other"), backup = folder.File(L"backup");
  WriteBytes(other, "other");
  const struct {
    const char* name;
    std::function<bool(const std::wstring& path)> attack;
    std::set<DWORD> answers;  // 0: it is allowed
  } rows[] = {
      {"move", [&](auto& path) { return MoveFileExW(path.c_str(), backup.c_str(), 0); }, {32}},
      {"delete", [](auto& path) { return DeleteFileW(path.c_str()); }, {32}},
      {"replace",
       [&](auto& path) {
         return ReplaceFileW(path.c_str(), other.c_str(), backup.c_str(), 0, nullptr, nullptr);
       },
       {32, 5}},
      {"write", [](auto& path) { return bool(Open(path, GENERIC_WRITE, kAll)); }, {32}},
      {"read and lock out", [](auto& path) { return bool(Open(path, GENERIC_READ, FILE_SHARE_READ)); }, {32}},
      {"read", [](auto& path) { return bool(Open(path, GENERIC_READ, kAll)); }, {0}},
      {"read, not to be deleted",
       [](auto& path) { return bool(Open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE)); },
       {0}},
  };
  for (const wchar_t* const softwareId : {kServer, kAgent}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(Narrow(softwareId) + ", " + row.name);
      int attacks = 0;
      AtWrite::attack = [&](const std::wstring& path) {
        ++attacks;
        const DWORD answer = row.attack(path) ? 0 : GetLastError();
        EXPECT_TRUE(row.answers.contains(answer)) << answer;
      };
      EXPECT_EQ(S_OK, Save(softwareId));
      EXPECT_EQ(2, attacks);
      EXPECT_TRUE(TakeFiles(softwareId == kServer ? serverEvents : agentEvents).ends_with("</Root>"));
    }
  }
  EXPECT_EQ("other", ReadBytes(other));
}

// Acts at the moment when the library closes an event file for the first time.
struct AtClose {
  static inline std::function<void(const std::wstring& path)> attack;

  static BOOL WINAPI Close(HANDLE handle) {
    wchar_t path[300] = {};
    GetFinalPathNameByHandleW(handle, path, 300, 0);
    const BOOL result = CloseHandle(handle);
    if (attack && std::wstring_view(path).ends_with(L".xml")) std::exchange(attack, nullptr)(path);
    return result;
  }
};

// Records whether the library opens a file for deletion while it holds the save mutex: an opportunistic lock
// on the file may block that call.
struct AtDelete {
  static inline int count = 0;
  static inline int withMutex = 0;

  static HANDLE WINAPI Open(const wchar_t* path, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* attributes,
                            DWORD disposition, DWORD flags, HANDLE like) {
    if (access == DELETE) {
      ++count;
      const KernelHandle mutex(CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX"));
      std::jthread([&] {
        if (WaitForSingleObject(mutex.Get(), 0) == WAIT_TIMEOUT) ++withMutex;
        ReleaseMutex(mutex.Get());
      }).join();
    }
    return CreateFileW(path, access, sharing, attributes, disposition, flags, like);
  }
};

// The size limit refuses the server's report after its file has been created.
TEST_F(HostileFolder, FileThatFailedIsDeletedWithoutTheMutexAndOnlyIfItIsStillOurs) {
  SetNumber(kFramework, L"Brenn Size", 1);
  const ImportHook hooks[] = {{library.Module(), "CloseHandle", &AtClose::Close},
                              {library.Module(), "CreateFileW", &AtDelete::Open}};
  const std::wstring victim = folder.File(L"victim");
  WriteBytes(victim, "precious");
  const std::function<void(const std::wstring&)> attacks[] = {
      [&](const std::wstring& path) {
        EXPECT_TRUE(CopyFileW(victim.c_str(), folder.File(L"copy").c_str(), FALSE));
        EXPECT_TRUE(MoveFileExW(folder.File(L"copy").c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING));
      },
      [&](const std::wstring& path) {
        DeleteFileW(path.c_str());
        EXPECT_TRUE(CreateHardLinkW(path.c_str(), victim.c_str(), nullptr));
      },
      [](const std::wstring& path) {
        DeleteFileW(path.c_str());
        EXPECT_TRUE(CreateDirectoryW(path.c_str(), nullptr));
      },
  };
  for (const auto& attack : attacks) {
    SCOPED_TRACE(&attack - attacks);
    AtClose::attack = attack;
    EXPECT_EQ(VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, Save());
    EXPECT_EQ("precious", ReadBytes(victim));
    const auto left = FilesIn(serverEvents);
    ASSERT_EQ(1u, left.size());
    const std::wstring path = serverEvents + L"\\" + left[0];
    EXPECT_TRUE(std::filesystem::is_directory(path) || ReadBytes(path) == "precious");
    std::filesystem::remove_all(path);
  }
  AtClose::attack = nullptr;
  EXPECT_EQ(VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, Save());
  EXPECT_TRUE(FilesIn(serverEvents).empty());
  EXPECT_EQ(4, AtDelete::count);
  EXPECT_EQ(0, AtDelete::withMutex);
}

// Records every CreateFile that lets a pipe's server impersonate this process, a child process inherit the
// handle, or a link be followed.
struct Openings {
  static inline int count = 0;
  static inline std::vector<std::string> careless;  // the path and what is wrong
  static inline int ofEventFiles = 0;

  static void Note(const std::string& path, const SECURITY_ATTRIBUTES* attributes, DWORD flags) {
    constexpr DWORD kQualities = SECURITY_SQOS_PRESENT | SECURITY_DELEGATION;
    ++count;
    if ((flags & kQualities) != (SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS))
      careless.push_back(path + ": a pipe's server could impersonate");
    if (attributes && attributes->bInheritHandle) careless.push_back(path + ": inherited by child processes");
  }
  static HANDLE WINAPI Wide(const wchar_t* path, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* attributes,
                            DWORD disposition, DWORD flags, HANDLE like) {
    Note(test::Narrow(path), attributes, flags);
    if (std::wstring_view(path).ends_with(L"xml")) {
      ++ofEventFiles;
      if ((flags & FILE_FLAG_OPEN_REPARSE_POINT) == 0)
        careless.push_back(test::Narrow(path) + ": follows links");
    }
    return CreateFileW(path, access, sharing, attributes, disposition, flags, like);
  }
  static HANDLE WINAPI Narrow(const char* path, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* attributes,
                              DWORD disposition, DWORD flags, HANDLE like) {
    Note(path, attributes, flags);
    return CreateFileA(path, access, sharing, attributes, disposition, flags, like);
  }
};

TEST_F(HostileFolder, NoOpeningGivesTheProcessAway) {
  const ImportHook wide(library.Module(), "CreateFileW", &Openings::Wide);
  const ImportHook narrow(library.Module(), "CreateFileA", &Openings::Narrow);
  const TraceReader reader;
  SetNumber(kLog, L"LogLevel", 8);
  SetText(kFramework, L"SelfProtectionClient", folder.File(L"none.dll"));
  EXPECT_EQ(S_OK, Save());
  EXPECT_EQ(S_OK, Save(kAgent));
  EXPECT_LT(20, Openings::count);
  EXPECT_EQ(std::vector<std::string>(), Openings::careless);
  EXPECT_EQ(2, Openings::ofEventFiles) << "a file that is opened again may have become another";
}

TEST_F(HostileFolder, MutexOfAnotherAccountIsWaitedForAndAnAbandonedOneTaken) {
  constexpr wchar_t kName[] = L"ORBAEVTINFMUTEX";
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x100000;;;WD)", SDDL_REVISION_1,
                                                                   &attributes.lpSecurityDescriptor,
                                                                   nullptr));  // to wait, and no more
  const KernelHandle mutex(CreateMutexW(&attributes, FALSE, kName));
  LocalFree(attributes.lpSecurityDescriptor);
  ASSERT_TRUE(mutex);
  ASSERT_EQ(nullptr, CreateMutexW(nullptr, FALSE, kName));
  WaitForSingleObject(mutex.Get(), INFINITE);
  std::atomic<bool> saved = false;
  std::jthread saver([&] {
    EXPECT_EQ(S_OK, Save());
    saved = true;
  });
  Sleep(300);
  EXPECT_FALSE(saved);
  EXPECT_TRUE(FilesIn(serverEvents).empty());
  ReleaseMutex(mutex.Get());
  saver.join();
  TakeFiles(serverEvents);
  std::jthread([&] { WaitForSingleObject(mutex.Get(), INFINITE); }).join();
  EXPECT_EQ(S_OK, Save());
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(mutex.Get(), 0)) << "it was given back";
}

}  // namespace
}  // namespace varnel::test
