#include "base/handles.h"
#include "support/captured_output.h"
#include "support/library.h"

#include <gmock/gmock.h>
#include <wincrypt.h>

#include <algorithm>
#include <filesystem>
#include <memory>

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

  // The log lines of one save.
  static std::string Save(const Library& library, const wchar_t* softwareId = kAgent,
                          HRESULT expected = S_OK) {
    const CapturedOutput output;
    const auto report = library.CreateReport();
    Initialize(*report, softwareId);
    Fill(*report);
    EXPECT_EQ(expected, report->Save());
    return output.Text();
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
    const auto take = reinterpret_cast<void(WINAPI*)(wchar_t*, LONG)>(
        reinterpret_cast<void*>(GetProcAddress(loaded, "StandInTake")));
    take(record, answer);
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
    const Library library;
    const std::string lines = Save(library);
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), '\n'));
    EXPECT_THAT(lines, HasSubstr(" E "));
    EXPECT_THAT(lines, HasSubstr(reason));
    EXPECT_EQ("", Save(library)) << "the same file is refused in silence";
    EXPECT_EQ(nullptr, GetModuleHandleW(path.substr(path.rfind(L'\\') + 1).c_str()));
  }
  EXPECT_EQ(2 * std::size(rows), FilesIn(agentEvents).size());
}

TEST_F(Protection, RefusedFileGetsAnotherChanceWhenItChanges) {
  const std::wstring path = folder.File(L"repaired.dll");
  std::filesystem::copy_file(Client("unsigned.dll"), path);
  UseClient(path);
  const Library library;
  EXPECT_THAT(Save(library), HasSubstr("not signed"));
  std::filesystem::copy_file(Client("trusted.dll"), path, std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ("", Save(library));
  EXPECT_NE(L"not loaded", TakeRecord(L"repaired.dll"));
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
  EXPECT_EQ(L"request: mutex folder;withdraw: folder;", save(kAgent, kRefused));
  EXPECT_EQ(L"request: mutex folder;withdraw: folder;", save(kServer, kRefused));
  SetText(kEventParser, L"EventsPath", folder.File(L"no\\such"));
  EXPECT_EQ(L"request: mutex;withdraw:;", save(kServer, kNotCreated));
}

// What a client of the host may do decides nothing, and the host's thread goes on serving it.
TEST_F(Protection, ThreadKeepsTheIdentityThatItHasTaken) {
  UseClient(Client("trusted.dll"));
  ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
  EXPECT_EQ("", SaveOnce());
  KernelHandle token;
  EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()));
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
