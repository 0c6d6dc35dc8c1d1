#include "support/captured_output.h"
#include "support/import_hook.h"
#include "support/library.h"
#include "support/process.h"

#include <gmock/gmock.h>
#include <wincrypt.h>
#include <winternl.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <tuple>
#include <utility>

namespace varnel::test {
namespace {

using testing::HasSubstr;

std::wstring Client(const std::string& name) {
  return Wide(Replaced(VARNEL_CLIENTS "/" + name, "/", "\\"));
}

// Trusts an authority on this machine, that is in the test's prefix, while it lives.
class TrustedAuthority {
 public:
  TrustedAuthority()
      : store_(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root")) {
    const std::string encoded = ReadBytes(Client("authority.cer"));
    EXPECT_TRUE(CertAddEncodedCertificateToStore(
        store_, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
        static_cast<DWORD>(encoded.size()), CERT_STORE_ADD_REPLACE_EXISTING, &certificate_));
    EXPECT_TRUE(CertControlStore(store_, 0, CERT_STORE_CTRL_COMMIT, nullptr));
  }
  ~TrustedAuthority() {
    EXPECT_TRUE(CertDeleteCertificateFromStore(certificate_));
    CertCloseStore(store_, 0);
  }
  TrustedAuthority(const TrustedAuthority&) = delete;
  TrustedAuthority& operator=(const TrustedAuthority&) = delete;

 private:
  HCERTSTORE store_;
  PCCERT_CONTEXT certificate_ = nullptr;
};

// The system's trust in certificates is kept in the machine's registry, so that is used as it is.
class Protection : public MachineAgentTest {
 protected:
  static void UseClient(const std::wstring& path) { SetText(kFramework, L"SelfProtectionClient", path); }

  // A client of the test's own, which no other test loads.
  std::wstring CopyOfClient(const std::wstring& name) const {
    std::filesystem::copy_file(Client("trusted.dll"), folder.File(name));
    return folder.File(name);
  }

  // The log lines of one save.
  static std::string Save(const Library& library, const wchar_t* softwareId = kAgent,
                          HRESULT expected = S_OK) {
    return OutputOf([&] {
      const auto report = library.CreateReport();
      Initialize(*report, softwareId);
      Fill(*report);
      EXPECT_EQ(expected, report->Save());
    });
  }
  // The same by a library that has just been loaded.
  static std::string SaveOnce(const wchar_t* softwareId = kAgent, HRESULT expected = S_OK) {
    return Save(Library(), softwareId, expected);
  }

  // What the stand-in has recorded; from now on it answers requests with `answer`.
  static std::wstring TakeRecord(const wchar_t* client, LONG answer = 0) {
    const HMODULE loaded = GetModuleHandleW(client);
    if (!loaded) return L"not loaded";
    wchar_t record[2000];
    FunctionOf<void WINAPI(wchar_t*, LONG)>(loaded, "StandInTake")(record, answer);
    return record;
  }

  // Once for all: a process keeps the roots that it has seen.
  static void SetUpTestSuite() { authority = std::make_unique<TrustedAuthority>(); }
  static void TearDownTestSuite() { authority.reset(); }

  static inline std::unique_ptr<TrustedAuthority> authority;
};

TEST_F(Protection, WithoutClientNothingIsSaid) {
  EXPECT_EQ("", SaveOnce());
  for (const auto& path : {std::wstring(), folder.File(L"none.dll"), folder.File(L"none\\none.dll")}) {
    UseClient(path);
    EXPECT_EQ("", SaveOnce());
  }
  EXPECT_EQ(4u, FilesIn(agentEvents).size());
}

TEST_F(Protection, ClientThatCannotBeTrustedIsRefusedWithOneLineAndTheReportSaved) {
  const std::pair<std::wstring, const char*> rows[] = {
      {Client("unsigned.dll"), "it is not signed (0x800B0100)"},
      {Client("tampered.dll"), "its signature is not valid (0x80096010)"},
      {Client("foreign.dll"), "its signer is not trusted (0x800B0109)"},
      {Client("foreign_without_chain.dll"), "its signer is not trusted (0x00010000)"},
      {Client("expired.dll"), "its signer is not trusted (0x800B0101)"},
      {Client("wrong_use.dll"), "its signer is not trusted (0x800B0110)"},
      {Client("incomplete.dll"), "an entry point is missing (0x0000007F)"},
      {Client("ca"), "it cannot be opened (0x00000005)"},
      {L"trusted.dll", "its path is not a full one (0x000000A1)"},
      {std::wstring(300, L'x'), "its path is too long"},
      {L"\\trusted.dll", "its path is not a full one"},
      {L"Z:trusted.dll", "its path is not a full one"},
      {L"\\\\server\\share\\trusted.dll", "it is not on a local disk"},
      {L"\\\\?\\UNC\\server\\share\\trusted.dll", "it is not on a local disk"},
  };
  for (const auto& [path, reason] : rows) {
    SCOPED_TRACE(reason);
    UseClient(path);
    const std::string lines = SaveOnce();
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), '\n'));
    EXPECT_THAT(lines, HasSubstr(" E "));
    EXPECT_THAT(lines, HasSubstr(reason));
    EXPECT_EQ(nullptr, GetModuleHandleW(path.substr(path.rfind(L'\\') + 1).c_str()));
  }
  EXPECT_EQ(std::size(rows), FilesIn(agentEvents).size());
}

struct Clock {
  static inline ULONGLONG now = 0;
  static inline ULONGLONG step = 0;
  static ULONGLONG WINAPI Now() { return now += step; }
};

// Looking for the client costs requests of every save; a minute is soon enough for one that comes or changes.
TEST_F(Protection, ChangedFileGetsAnotherChanceAMinuteLater) {
  Clock::now = GetTickCount64();
  const std::wstring path = folder.File(L"repaired.dll");
  UseClient(path);
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
    if (*client)
      std::filesystem::copy_file(Client(client), path, std::filesystem::copy_options::overwrite_existing);
    Clock::now += wait;
    EXPECT_THAT(Save(library), testing::ContainsRegex(lines)) << wait;
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
  const std::tuple<const char*, const wchar_t*, void*> rows[] = {
      {"CreateFileW", kAgent, reinterpret_cast<void*>(&Guard::Open)},
      {"CreateFileW", kServer, reinterpret_cast<void*>(&Guard::Open)},
      {"CreateDirectoryW", kServer, reinterpret_cast<void*>(&Guard::MakeFolder)},
      {"WriteFile", kAgent, reinterpret_cast<void*>(&Guard::Write)},
      {"WriteFile", kServer, reinterpret_cast<void*>(&Guard::Write)},
  };
  int row = 0;
  for (const auto& [function, softwareId, denying] : rows) {
    SCOPED_TRACE(Narrow(softwareId) + ", " + function);
    const std::wstring client = L"denied" + std::to_wstring(++row) + L".dll";
    UseClient(folder.File(client));
    const Library library;
    Save(library);  // looks, and there is no client yet
    CopyOfClient(client);
    std::filesystem::remove_all(serverEvents);
    const ImportHook hook(library.Module(), function, reinterpret_cast<void (*)()>(denying));
    Guard::isUp = true;
    HRESULT denied = S_OK;
    OutputOf([&] {
      const auto report = library.CreateReport();
      Initialize(*report, softwareId);
      Fill(*report);
      denied = report->Save();
    });
    Guard::isUp = false;
    EXPECT_TRUE(FAILED(denied));
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
    for (std::size_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([&] {
        const auto report = library.CreateReport();
        Initialize(*report);
        Fill(*report);
        EXPECT_EQ(S_OK, report->Save());
      });
    }
  });
  SlowLook::pause = nullptr;
  EXPECT_EQ("", lines);
  const std::string record = Narrow(TakeRecord(L"shared.dll"));
  EXPECT_EQ(kThreads, RegexMatches(record, "request: mutex").size()) << record;
  EXPECT_EQ(kThreads, RegexMatches(record, "withdraw: ").size()) << record;
  EXPECT_EQ(kThreads, FilesIn(agentEvents).size());
}

TEST_F(Protection, SaveThatIsDeniedDuringALookMakesTheNextOneLookAtOnce) {
  const std::wstring path = folder.File(L"late.dll");
  std::filesystem::copy_file(Client("unsigned.dll"), path);
  UseClient(path);
  const Library library;
  const ImportHook hooks[] = {{library.Module(), "LoadLibraryExW", &SlowLook::Load},
                              {library.Module(), "CreateFileW", &Guard::Open}};
  const auto report = library.CreateReport();
  Initialize(*report);
  Fill(*report);
  SlowLook::pause = [&] {
    Guard::isUp = true;
    EXPECT_EQ(VARNEL_E_NOT_WRITTEN, report->Save());
    Guard::isUp = false;
  };
  EXPECT_THAT(Save(library), HasSubstr("it is not signed"));
  SlowLook::pause = nullptr;
  std::filesystem::copy_file(Client("trusted.dll"), path, std::filesystem::copy_options::overwrite_existing);
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
    const auto report = library.CreateReport();
    EXPECT_EQ(S_OK, Initialize(*report));
    Fill(*report);
    EXPECT_EQ(S_OK, report->Save());
    EXPECT_GE(milliseconds, Clock::now - before);
    EXPECT_LE(milliseconds - 1'000, Clock::now - before);
  }
  Clock::step = 0;
  SetEvent(goOn.Get());
  looker.join();
  SlowLook::pause = nullptr;
  EXPECT_EQ(1u, RegexMatches(Narrow(TakeRecord(L"endless.dll")), "request").size()) << "the looking thread's";
}

// If this library is signed, a protection client must have the same publisher.
TEST_F(Protection, SignedLibraryTrustsClientsOfItsOwnPublisherOnly) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"varnel_foreign.dll", "trusted.dll", "this library's own signature is not trusted (0x800B0109)"},
      {"varnel_signed.dll", "of_other_publisher.dll", "its publisher is not this library's (0x800B0004)"},
      {"varnel_signed.dll", "trusted.dll", ""},
  };
  for (const auto& [library, client, reason] : rows) {
    UseClient(Client(client));
    EXPECT_THAT(Save(Library(Client(library))), HasSubstr(reason));
    EXPECT_EQ(*reason == '\0', TakeRecord(Wide(client).c_str()) != L"not loaded") << library;
  }
  UseClient(Client("of_other_publisher.dll"));
  EXPECT_EQ("", SaveOnce()) << "one that is not signed itself does not ask";
}

// The system's chains, with what it might know of a certificate's revocation.
struct Revocation {
  static inline DWORD known = 0;
  static inline DWORD flags = 0;

  static BOOL WINAPI GetChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                              HCERTSTORE store, CERT_CHAIN_PARA* parameters, DWORD how, void* reserved,
                              PCCERT_CHAIN_CONTEXT* chain) {
    flags = how;
    const BOOL result =
        CertGetCertificateChain(engine, certificate, time, store, parameters, how, reserved, chain);
    if (result) const_cast<CERT_CHAIN_CONTEXT*>(*chain)->TrustStatus.dwErrorStatus |= known;
    return result;
  }
  static FARPROC WINAPI Find(HMODULE module, const char* name) {
    if (std::string_view(name) != "CertGetCertificateChain") return GetProcAddress(module, name);
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&GetChain));
  }
};

TEST_F(Protection, RevokedClientIsRefusedAndNothingFetchedToLearnOfIt) {
  for (const auto& [known, reason] : {std::pair(DWORD{CERT_TRUST_IS_REVOKED}, "its signer is not trusted"),
                                      std::pair(DWORD{CERT_TRUST_REVOCATION_STATUS_UNKNOWN}, "")}) {
    const Library library;
    const ImportHook hook(library.Module(), "GetProcAddress", &Revocation::Find);
    Revocation::known = known;
    UseClient(Client("trusted.dll"));
    EXPECT_THAT(Save(library), HasSubstr(reason));
    constexpr DWORD kFromCache = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY;
    EXPECT_EQ(kFromCache, Revocation::flags & kFromCache);
    EXPECT_NE(0u, Revocation::flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT);
  }
  TakeRecord(L"trusted.dll");
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
  const std::wstring path = folder.File(L"noticed.dll");
  std::filesystem::copy_file(Client("trusted.dll"), path);
  UseClient(path);
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
  TakeRecord(L"trusted.dll", 42);
  EXPECT_THAT(SaveOnce(), testing::ContainsRegex(" E .* No self-protection exception for .*: 42\n"));
  EXPECT_EQ(L"request: mutex folder;", TakeRecord(L"trusted.dll"));
  EXPECT_EQ(2u, FilesIn(agentEvents).size());
}

}  // namespace
}  // namespace varnel::test
