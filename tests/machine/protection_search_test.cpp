// When the client library is looked for, and when it is asked.

#include "base/handles.h"
#include "machine/protection.h"
#include "support/import_hook.h"
#include "support/process.h"

#include <gmock/gmock.h>
#include <winternl.h>

#include <functional>
#include <thread>
#include <tuple>
#include <utility>

namespace varnel::test {
namespace {

using testing::HasSubstr;

struct Clock {
  static inline ULONGLONG now = 0;
  static inline ULONGLONG step = 0;
  static ULONGLONG WINAPI Now() { return now += step; }
};

// Looking for the client costs requests of every save; a minute is soon enough for one that comes or changes.
TEST_F(Protection, ChangedFileGetsAnotherChanceAMinuteLater) {
  Clock::now = GetTickCount64();
  UseClient(folder.File(L"repaired.dll"));
  const Library library;
  const ImportHook hook(library.Module(), "GetTickCount64", &Clock::Now);
  const std::tuple<const char*, unsigned, std::string> rows[] = {
      {"", 0, "^$"},
      {"unsigned.dll", 59'999, "^$"},
      {"", 1, "it is not signed"},
      {"", 60'000, "^$"},  // the same file is refused in silence
      {"trusted.dll", 59'999, "^$"},
  };
  for (const auto& [client, wait, lines] : rows) {
    if (*client) CopyOfClient(L"repaired.dll", client);
    Clock::now += wait;
    EXPECT_THAT(Save(library), testing::ContainsRegex(lines)) << client << " after " << wait;
  }
  EXPECT_EQ(L"not loaded", TakeRecord(L"repaired.dll"));
  Clock::now += 1;
  EXPECT_EQ("", Save(library));
  EXPECT_NE(L"not loaded", TakeRecord(L"repaired.dll"));
}

// The system's answer to the library's calls when something keeps it out of the event folders.
struct Guard {
  static inline bool isUp = false;

  static bool Denies() {
    if (isUp) SetLastError(ERROR_ACCESS_DENIED);
    return isUp;
  }
  static HANDLE WINAPI Open(const wchar_t* path, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES* attributes,
                            DWORD disposition, DWORD flags, HANDLE like) {
    if (std::wstring_view(path).ends_with(L".xml") && Denies()) return INVALID_HANDLE_VALUE;
    return CreateFileW(path, access, sharing, attributes, disposition, flags, like);
  }
  static BOOL WINAPI MakeFolder(const wchar_t* path, SECURITY_ATTRIBUTES* attributes) {
    return Denies() ? FALSE : CreateDirectoryW(path, attributes);
  }
  static BOOL WINAPI Write(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* how) {
    return Denies() ? FALSE : WriteFile(file, bytes, size, written, how);
  }
};

TEST_F(Protection, SaveThatIsDeniedMakesTheNextOneLookAtOnce) {
  const std::tuple<const char*, const wchar_t*, void*, HRESULT> rows[] = {
      {"CreateFileW", kAgent, reinterpret_cast<void*>(&Guard::Open), VARNEL_E_NOT_WRITTEN},
      {"CreateFileW", kServer, reinterpret_cast<void*>(&Guard::Open), VARNEL_E_NOT_WRITTEN},
      {"CreateDirectoryW", kServer, reinterpret_cast<void*>(&Guard::MakeFolder), VARNEL_E_NOT_WRITTEN},
      {"WriteFile", kAgent, reinterpret_cast<void*>(&Guard::Write), VARNEL_E_NOT_WRITTEN},
      {"WriteFile", kServer, reinterpret_cast<void*>(&Guard::Write), VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN},
  };
  int row = 0;
  for (const auto& [function, softwareId, denying, result] : rows) {
    SCOPED_TRACE(Narrow(softwareId) + ", " + function);
    const std::wstring client = L"denied" + std::to_wstring(++row) + L".dll";
    UseClient(folder.File(client));
    const Library library;
    Save(library);  // looks, and there is no client yet
    CopyOfClient(client);
    std::filesystem::remove_all(serverEvents);
    const ImportHook hook(library.Module(), function, reinterpret_cast<void (*)()>(denying));
    Guard::isUp = true;
    Save(library, softwareId, result);
    Guard::isUp = false;
    EXPECT_EQ(L"not loaded", TakeRecord(client.c_str()));
    Save(library);
    EXPECT_NE(L"not loaded", TakeRecord(client.c_str()));
  }
}

TEST_F(Protection, ClientThatIsOpenElsewhereIsLookedForAgainAtOnce) {
  const std::wstring path = CopyOfClient(L"busy.dll");
  UseClient(path);
  const Library library;
  {
    const FileHandle busy(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_THAT(Save(library), HasSubstr("it cannot be opened (0x00000020)"));
    EXPECT_EQ("", Save(library));
  }
  EXPECT_EQ("", Save(library));
  EXPECT_NE(L"not loaded", TakeRecord(L"busy.dll"));
}

// The value decides, also after a library has been loaded.
TEST_F(Protection, ValueIsReadAgainAMinuteLater) {
  Clock::now = GetTickCount64();
  const Library library;
  const ImportHook hook(library.Module(), "GetTickCount64", &Clock::Now);
  const std::wstring first = CopyOfClient(L"first.dll"), second = CopyOfClient(L"second.dll");
  const std::tuple<std::wstring, unsigned, const wchar_t*> rows[] = {
      {first, 0, L"first.dll"},
      {L"removed", 59'999, L"first.dll"},
      {L"as before", 1, nullptr},
      {first, 59'999, nullptr},
      {L"as before", 1, L"first.dll"},
      {second, 60'000, L"second.dll"},
      {Client("unsigned.dll"), 60'000, nullptr},
      {second, 60'000, L"second.dll"},
  };
  for (const auto& [value, wait, asked] : rows) {
    SCOPED_TRACE(Narrow(value) + " after " + std::to_string(wait));
    if (value == L"removed")
      DeleteValue(kFramework, L"SelfProtectionClient");
    else if (value != L"as before")
      UseClient(value);
    Clock::now += wait;
    Save(library);
    for (const wchar_t* const client : {L"first.dll", L"second.dll"}) {
      const bool isAsked = asked && std::wstring_view(asked) == client;
      EXPECT_EQ(isAsked, TakeRecord(client).starts_with(L"request")) << Narrow(client);
    }
  }
}

// A look, held up in the middle by the system's loader.
struct SlowLook {
  static inline std::function<void()> pause;

  static HMODULE WINAPI Load(const wchar_t* path, HANDLE file, DWORD flags) {
    if (pause && std::wstring_view(path).ends_with(L"wintrust.dll")) pause();
    return LoadLibraryExW(path, file, flags);
  }
};

TEST_F(Protection, SavesThatComeWhileAnotherThreadLooksWaitForTheClient) {
  constexpr std::size_t kThreads = 4;
  UseClient(CopyOfClient(L"shared.dll"));
  const Library library;
  // The clock stands still: on a busy machine the look may take longer than others wait for it.
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &SlowLook::Load},
                              {library.Module(), "GetTickCount64", &Clock::Now}};
  SlowLook::pause = [] { Sleep(300); };
  const std::string lines = OutputOf([&] {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back([&] { SaveReport(library); });
  });
  SlowLook::pause = nullptr;
  EXPECT_EQ("", lines);
  const std::string record = Narrow(TakeRecord(L"shared.dll"));
  EXPECT_EQ(kThreads, RegexMatches(record, "request: mutex").size()) << record;
  EXPECT_EQ(kThreads, RegexMatches(record, "withdraw: ").size()) << record;
  EXPECT_EQ(kThreads, FilesIn(agentEvents).size());
}

TEST_F(Protection, SaveThatIsDeniedDuringALookMakesTheNextOneLookAtOnce) {
  UseClient(CopyOfClient(L"late.dll", "unsigned.dll"));
  const Library library;
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &SlowLook::Load},
                              {library.Module(), "CreateFileW", &Guard::Open}};
  SlowLook::pause = [&] {
    Guard::isUp = true;
    SaveReport(library, kAgent, VARNEL_E_NOT_WRITTEN);
    Guard::isUp = false;
  };
  EXPECT_THAT(Save(library), HasSubstr("it is not signed"));
  SlowLook::pause = nullptr;
  CopyOfClient(L"late.dll");
  EXPECT_EQ("", Save(library));
  EXPECT_NE(L"not loaded", TakeRecord(L"late.dll"));
}

TEST_F(Protection, LookThatDoesNotEndIsWaitedForOnceAndFiveSecondsAtMost) {
  UseClient(CopyOfClient(L"endless.dll"));
  const Library library;
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &SlowLook::Load},
                              {library.Module(), "GetTickCount64", &Clock::Now}};
  const KernelHandle looking(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  SlowLook::pause = [&] {
    SetEvent(looking.Get());
    WaitForSingleObject(goOn.Get(), 60'000);
  };
  std::jthread looker([&] { Save(library); });
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(looking.Get(), 60'000));
  Clock::step = 1000;  // each question takes a second
  for (const ULONGLONG milliseconds : {7'000u, 2'000u}) {
    const ULONGLONG before = Clock::now;
    SaveReport(library);
    EXPECT_GE(milliseconds, Clock::now - before) << "it waits for this long at most";
    EXPECT_LE(milliseconds - 1'000, Clock::now - before);
  }
  Clock::step = 0;
  SetEvent(goOn.Get());
  looker.join();
  SlowLook::pause = nullptr;
  EXPECT_EQ(1u, RegexMatches(Narrow(TakeRecord(L"endless.dll")), "request").size()) << "the looking thread's";
}

// A host that is told of every library that is loaded, and reports one.
struct LoadNotification {
  struct Data {
    ULONG flags;
    const UNICODE_STRING* path;
    const UNICODE_STRING* name;
  };
  using Callback = void(CALLBACK*)(ULONG, const Data*, void*);

  static inline std::function<void()> action;

  static void CALLBACK OnLoad(ULONG, const Data* data, void*) {
    if (action && std::wstring_view(data->name->Buffer) == L"noticed.dll") std::exchange(action, nullptr)();
  }
};

TEST_F(Protection, ReportFromALoadNotificationGoesOnWithoutAClient) {
  using Register = LONG NTAPI(ULONG, LoadNotification::Callback, void*, void**);
  using Unregister = LONG NTAPI(void*);
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  UseClient(CopyOfClient(L"noticed.dll"));
  const Library library;
  const auto report = library.CreateReport();
  Initialize(*report, kServer);
  Fill(*report);
  void* cookie = nullptr;
  LoadNotification::action = [&] { EXPECT_EQ(S_OK, report->Save()); };
  FunctionOf<Register>(system, "LdrRegisterDllNotification")(0, LoadNotification::OnLoad, nullptr, &cookie);
  EXPECT_EQ("", Save(library));
  FunctionOf<Unregister>(system, "LdrUnregisterDllNotification")(cookie);
  EXPECT_EQ(nullptr, LoadNotification::action);
  EXPECT_EQ(1u, FilesIn(serverEvents).size());
  EXPECT_NE(L"not loaded", TakeRecord(L"noticed.dll"));
}

// From before the folder is touched until the mutex is free, whatever comes of the save.
TEST_F(Protection, ExceptionIsHeldWhileTheFileIsWritten) {
  UseClient(Client("trusted.dll"));
  const auto save = [](const wchar_t* softwareId, HRESULT expected) {
    EXPECT_EQ(expected == S_OK, SaveOnce(softwareId, expected).empty());
    return TakeRecord(L"trusted.dll");
  };
  EXPECT_EQ(L"request: mutex folder;withdraw: folder file;", save(kAgent, S_OK));
  EXPECT_EQ(L"request: mutex;withdraw: folder file;", save(kServer, S_OK));
  SetNumber(kFramework, L"Brenn Size", 1);
  EXPECT_EQ(L"request: mutex folder;withdraw: folder;", save(kAgent, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN));
  EXPECT_EQ(L"request: mutex folder;withdraw: folder;", save(kServer, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN));
  SetText(kEventParser, L"EventsPath", folder.File(L"no\\such"));
  EXPECT_EQ(L"request: mutex;withdraw:;", save(kServer, VARNEL_E_NOT_WRITTEN));
}

// The look does not depend on the rights of the impersonated user, and the thread impersonates again
// afterwards.
TEST_F(Protection, ThreadKeepsTheIdentityThatItHasTaken) {
  UseClient(Client("trusted.dll"));
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  EXPECT_EQ("", SaveOnce());
  EXPECT_TRUE(Impersonates());
  EXPECT_TRUE(RevertToSelf());
  EXPECT_NE(L"not loaded", TakeRecord(L"trusted.dll"));
}

TEST_F(Protection, ServiceThatGivesNoExceptionIsLoggedAndNothingWithdrawn) {
  UseClient(Client("trusted.dll"));
  SaveOnce();
  for (const LONG answer : {1, -1}) {
    TakeRecord(L"trusted.dll", answer);
    const std::string line = " E .* No self-protection exception for .*: " + std::to_string(answer) + "\n";
    EXPECT_THAT(SaveOnce(), testing::ContainsRegex(line));
    EXPECT_EQ(L"request: mutex folder;", TakeRecord(L"trusted.dll")) << line;
  }
  EXPECT_EQ(3u, FilesIn(agentEvents).size());
}

}  // namespace
}  // namespace varnel::test
