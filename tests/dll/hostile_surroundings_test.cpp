// Attacks on a save by an account that may write the event folder, by an impersonated user with other rights,
// and by failing calls of Windows. The attacks run inside functions that the loaded library imports.

#include "support/captured_output.h"
#include "support/import_hook.h"
#include "support/library.h"
#include "support/process.h"
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

class HostileSurroundings : public AgentTest {
 protected:
  HostileSurroundings() { folder.MakeFolder(L"ServerEvents"); }

  static HRESULT Save(IOrbaEventInf3& report, const wchar_t* softwareId = kServer) {
    const CapturedOutput output;
    EXPECT_EQ(S_OK, Initialize(report, softwareId));
    Fill(report);
    return report.Save();
  }
  HRESULT Save(const wchar_t* softwareId = kServer) const {
    return Save(*library.CreateReport(), softwareId);
  }

  Library library;
};

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
TEST_F(HostileSurroundings, NobodyMovesDeletesOrReplacesAFileThatIsBeingWrittenAndReadersRead) {
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
      {"replace by renaming",
       [&](auto& path) { return MoveFileExW(other.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING); },
       {32, 5}},
      {"replace",
       [&](auto& path) {
         return ReplaceFileW(path.c_str(), other.c_str(), backup.c_str(), 0, nullptr, nullptr);
       },
       {32, 5}},
      {"write", [](auto& path) { return bool(Open(path, GENERIC_WRITE, kAll)); }, {32}},
      {"open to delete", [](auto& path) { return bool(Open(path, GENERIC_READ | DELETE, kAll)); }, {32}},
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
TEST_F(HostileSurroundings, FileThatFailedIsDeletedWithoutTheMutexAndOnlyIfItIsStillOurs) {
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

TEST_F(HostileSurroundings, NoOpeningGivesTheProcessAway) {
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

// Libraries are looked for as the process.
struct Loading {
  static inline int count = 0;
  static inline int asClient = 0;
  static inline bool refuseToRestore = false;

  static HMODULE WINAPI Library(const wchar_t* path, HANDLE file, DWORD flags) {
    ++count;
    asClient += Impersonates();
    return LoadLibraryExW(path, file, flags);
  }
  static HRESULT WINAPI TypeLibrary(const OLECHAR* path, REGKIND kind, ITypeLib** library) {
    ++count;
    asClient += Impersonates();
    return LoadTypeLibEx(path, kind, library);
  }
  static BOOL WINAPI SetToken(HANDLE* thread, HANDLE token) {
    return refuseToRestore && token ? FALSE : SetThreadToken(thread, token);
  }
};

TEST_F(HostileSurroundings, LibrariesAreLoadedAsTheProcessAndTheClientsIdentityComesBack) {
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &Loading::Library},
                              {library.Module(), "LoadTypeLibEx", &Loading::TypeLibrary},
                              {library.Module(), "SetThreadToken", &Loading::SetToken}};
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  const auto report = library.CreateReport();
  ComPtr<ITypeInfo> info;
  Loading::refuseToRestore = true;
  const bool refused = FAILED(report->GetTypeInfo(0, LOCALE_NEUTRAL, info.Put()));
  RevertToSelf();
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  EXPECT_EQ(E_ACCESSDENIED, Initialize(*report));
  RevertToSelf();
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  Loading::refuseToRestore = false;
  EXPECT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  Loading::refuseToRestore = true;
  EXPECT_EQ(E_ACCESSDENIED, report->Save()) << "the adapters' library was loaded as the process";
  RevertToSelf();
  Loading::refuseToRestore = false;
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  const HRESULT described = report->GetTypeInfo(0, LOCALE_NEUTRAL, info.Put());
  const HRESULT saved = Save(*report);
  const bool still = Impersonates();
  RevertToSelf();
  EXPECT_TRUE(refused) << "a thread that has more rights than its client must not go on";
  EXPECT_EQ(S_OK, described);
  EXPECT_EQ(S_OK, saved);
  EXPECT_TRUE(still);
  EXPECT_LT(2, Loading::count);
  EXPECT_EQ(0, Loading::asClient);
}

// CRYPTBASE.dll, which not every system has: a library of this test's takes its place.
struct RandomNumbers {
  static inline int uses = 0;
  static inline int usesWithout = 0;

  static bool IsLoaded() { return GetModuleHandleW(L"xmllite.dll") != nullptr; }
  static void Use() {
    ++uses;
    usesWithout += !IsLoaded();
  }
  static HMODULE WINAPI Load(const wchar_t* path, HANDLE file, DWORD flags) {
    wchar_t system[MAX_PATH];
    GetSystemDirectoryW(system, MAX_PATH);
    if (_wcsicmp(path, (std::wstring(system) + L"\\cryptbase.dll").c_str()) != 0 ||
        flags != LOAD_LIBRARY_SEARCH_SYSTEM32)
      return LoadLibraryExW(path, file, flags);
    return LoadLibraryW(L"xmllite.dll");
  }
  static HRESULT WINAPI MakeGuid(GUID* guid) {
    Use();
    return CoCreateGuid(guid);
  }
  static errno_t __cdecl Number(unsigned* number) {
    Use();
    *number = 1;
    return 0;
  }
  static FARPROC WINAPI Find(HMODULE module, const char* name) {
    if (std::string_view(name) == "rand_s")
      return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&Number));
    return GetProcAddress(module, name);
  }
};

TEST_F(HostileSurroundings, LibraryOfRandomNumbersIsTheSystemsAndHeldWhileTheyAreUsed) {
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &RandomNumbers::Load},
                              {library.Module(), "CoCreateGuid", &RandomNumbers::MakeGuid},
                              {library.Module(), "GetProcAddress", &RandomNumbers::Find}};
  ASSERT_FALSE(RandomNumbers::IsLoaded());
  {
    const auto report = library.CreateReport();
    for (const wchar_t* const softwareId : {kServer, kAgent})
      EXPECT_EQ(S_OK, Save(*report, softwareId)) << Narrow(softwareId);
    EXPECT_EQ(2, RandomNumbers::uses);
    EXPECT_EQ(0, RandomNumbers::usesWithout);
    EXPECT_EQ(S_OK, report->DeInitialize());
    EXPECT_FALSE(RandomNumbers::IsLoaded());
    EXPECT_EQ(S_OK, Initialize(*report));
  }
  EXPECT_FALSE(RandomNumbers::IsLoaded()) << "also when DeInitialize is not called";
}

// A client's token that the process may not open, nor, perhaps, the client itself.
struct ClientToken {
  static inline bool refusesClient = false;

  static BOOL WINAPI Open(HANDLE thread, DWORD access, BOOL asProcess, HANDLE* token) {
    if (!asProcess && !refusesClient) return OpenThreadToken(thread, access, asProcess, token);
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
};

TEST_F(HostileSurroundings, TokenIsOpenedAsTheClientTooAndFactsThatStayEmptySayWhy) {
  const ImportHook hooks[] = {{library.Module(), "OpenThreadToken", &ClientToken::Open},
                              {library.Module(), "LoadLibraryExW", &Loading::Library}};
  DeleteValue(kFramework, L"IPAddress");
  for (const bool refuses : {false, true}) {
    SCOPED_TRACE(refuses ? "nobody may open it" : "the client may open it");
    ClientToken::refusesClient = refuses;
    Loading::count = Loading::asClient = 0;
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    const std::string lines = OutputOf([&] {
      const auto report = library.CreateReport();
      EXPECT_EQ(S_OK, Initialize(*report, kAgent));
      Fill(*report);
      EXPECT_EQ(S_OK, report->Save());
    });
    EXPECT_TRUE(Impersonates());
    RevertToSelf();
    EXPECT_EQ(refuses, Loading::count == 0);
    EXPECT_EQ(0, Loading::asClient);
    const std::string document = TakeFiles(agentEvents);
    if (!refuses) {
      EXPECT_EQ("", lines);
      continue;
    }
    const auto logged = RegexMatches(
        lines, " E .*?Quorvel  (\\w+) stays empty: this thread cannot act for its process \\(0x00000005\\)");
    ASSERT_EQ(2u, logged.size()) << lines;
    EXPECT_THAT(lines,
                testing::HasSubstr("cryptbase.dll not loaded: this thread cannot act for its process"));
    for (const auto& line : logged)
      EXPECT_THAT(document, testing::HasSubstr("<" + line[1] + "></" + line[1] + ">"));
    EXPECT_NE(logged[0][1], logged[1][1]);
  }
}

// The system's adapter query, failing with a size that nobody has made room for.
struct AdapterQuery {
  static inline std::vector<ULONG> sizes;

  static ULONG WINAPI Get(ULONG, ULONG, void*, void*, ULONG* size) {
    sizes.push_back(std::exchange(*size, 1'000'000));
    return ERROR_INVALID_FUNCTION;
  }
  static FARPROC WINAPI Find(HMODULE module, const char* name) {
    if (std::string_view(name) == "GetAdaptersAddresses")
      return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&Get));
    return GetProcAddress(module, name);
  }
};

TEST_F(HostileSurroundings, FailingAdapterQueryGetsTheSizeOfItsBuffer) {
  const ImportHook hook(library.Module(), "GetProcAddress", &AdapterQuery::Find);
  EXPECT_EQ(S_OK, Save());
  EXPECT_THAT(AdapterQuery::sizes, testing::ElementsAre(448, 448));
}

TEST_F(HostileSurroundings, MutexOfAnotherAccountIsWaitedForAndAnAbandonedOneTaken) {
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
