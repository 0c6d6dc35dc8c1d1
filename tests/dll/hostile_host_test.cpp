// A host that impersonates users with other rights, and a system that answers unusually. Both are simulated
// in functions that the loaded library imports.

#include "dll/hostile.h"
#include "support/import_hook.h"
#include "support/process.h"

#include <winsock2.h>
#include <gmock/gmock.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <utility>

namespace varnel::test {
namespace {

using HostileHost = Hostile;

// Records whether libraries are loaded as the process, and what the longest path is.
struct Loading {
  static inline int count = 0;
  static inline int asClient = 0;
  static inline std::size_t longest = 0;
  static inline bool refuseToRestore = false;

  static HMODULE WINAPI Library(const wchar_t* path, HANDLE file, DWORD flags) {
    ++count;
    asClient += Impersonates();
    longest = std::max(longest, std::wstring_view(path).size());
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

TEST_F(HostileHost, LibrariesAreLoadedAsTheProcessAndTheClientsIdentityComesBack) {
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

// Stands for cryptbase.dll, which Wine need not have: loads xmllite.dll in its place.
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
};

TEST_F(HostileHost, LibraryOfRandomNumbersIsTheSystemsAndHeldWhileTheyAreUsed) {
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &RandomNumbers::Load},
                              {library.Module(), "CoCreateGuid", &RandomNumbers::MakeGuid}};
  const ExportHook number(library.Module(), "rand_s", &RandomNumbers::Number);
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

TEST_F(HostileHost, TokenIsOpenedAsTheClientTooAndFactsThatStayEmptySayWhy) {
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

// GetAdaptersAddresses, failing with a size that is larger than the buffer.
struct AdapterQuery {
  static inline std::vector<ULONG> sizes;

  static ULONG WINAPI Get(ULONG, ULONG, void*, void*, ULONG* size) {
    sizes.push_back(std::exchange(*size, 1'000'000));
    return ERROR_INVALID_FUNCTION;
  }
};

TEST_F(HostileHost, FailingAdapterQueryGetsTheSizeOfItsBuffer) {
  const ExportHook hook(library.Module(), "GetAdaptersAddresses", &AdapterQuery::Get);
  EXPECT_EQ(S_OK, Save());
  EXPECT_THAT(AdapterQuery::sizes, testing::ElementsAre(448, 448));
}

// The system's answer to the question for the addresses of the machine's own name.
struct OwnName {
  static inline int answer = 0;

  static int WSAAPI Resolve(const char*, const char*, const addrinfo* hints, addrinfo** list) {
    EXPECT_EQ(0, getaddrinfo("192.0.2.9", nullptr, hints, list));
    return answer;
  }
};

TEST_F(HostileHost, AddressIsThatOfTheMachinesNameIfTheSystemAnswers) {
  const ExportHook hook(library.Module(), "getaddrinfo", &OwnName::Resolve);
  DeleteValue(kFramework, L"IPAddress");
  for (const auto& [answer, address] : {std::pair(0, "192.0.2.9"), {WSAHOST_NOT_FOUND, ""}}) {
    SCOPED_TRACE(answer);
    OwnName::answer = answer;
    EXPECT_EQ(S_OK, Save());
    EXPECT_THAT(TakeFiles(serverEvents),
                testing::HasSubstr(std::string("<IPAddress>") + address + "</IPAddress>"));
  }
}

// A system whose folder has a long path.
struct LongSystem {
  static inline UINT length = 0;

  static UINT WINAPI Folder(wchar_t* path, UINT) {
    *std::fill_n(path, length, L'x') = L'\0';
    return length;
  }
};

TEST_F(HostileHost, LibraryOfTheSystemHasAPathOfAtMost259Characters) {
  const ImportHook hooks[] = {{library.Module(), "GetSystemDirectoryW", &LongSystem::Folder},
                              {library.Module(), "LoadLibraryExW", &Loading::Library}};
  for (LongSystem::length = 240; LongSystem::length < 256; ++LongSystem::length)
    EXPECT_EQ(S_OK, Initialize(*library.CreateReport()));
  EXPECT_EQ(259u, Loading::longest);
}

}  // namespace
}  // namespace varnel::test
