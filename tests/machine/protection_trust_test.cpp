// Which client library is trusted: by its path, signature, publisher and revocation.

#include "machine/protection.h"
#include "support/import_hook.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace varnel::test {
namespace {

using testing::HasSubstr;

TEST_F(Protection, WithoutClientNothingIsLogged) {
  EXPECT_EQ("", SaveOnce());
  std::wstring longest = L"C:\\none";
  while (longest.size() < 259) longest += L"\\x";
  const std::wstring paths[] = {L"",           folder.File(L"none.dll"), folder.File(L"none\\none.dll"),
                                L"A:\\no.dll", L"z:\\none.dll",          longest};
  for (const std::wstring& path : paths) {
    UseClient(path);
    EXPECT_EQ("", SaveOnce()) << Narrow(path);
  }
  EXPECT_EQ(1 + std::size(paths), FilesIn(agentEvents).size());
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
      {L"C:\\" + std::wstring(257, L'x'), "its path is too long"},
      {std::wstring(300, L'x'), "its path is too long"},
      {L"\\trusted.dll", "its path is not a full one"},
      {L"Z:trusted.dll", "its path is not a full one"},
      {L"@:\\trusted.dll", "its path is not a full one"},
      {L"{:\\trusted.dll", "its path is not a full one"},
      {L"\\\\server\\share\\trusted.dll", "it is not on a local disk"},
      {L"\\\\?\\UNC\\server\\share\\trusted.dll", "it is not on a local disk"},
  };
  for (const auto& [path, reason] : rows) {
    SCOPED_TRACE(Narrow(path));
    UseClient(path);
    const std::string lines = SaveOnce();
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), '\n'));
    EXPECT_THAT(lines, HasSubstr(" E "));
    EXPECT_THAT(lines, HasSubstr(reason));
    EXPECT_EQ(nullptr, GetModuleHandleW(path.substr(path.rfind(L'\\') + 1).c_str()));
  }
  EXPECT_EQ(std::size(rows), FilesIn(agentEvents).size());
}

// The file's own path, and the kind of its drive, as a network would have them.
struct Network {
  static DWORD WINAPI PathOf(HANDLE, wchar_t* path, DWORD, DWORD) {
    wcscpy(path, L"\\\\?\\UNC\\server\\share\\trusted.dll");
    return static_cast<DWORD>(wcslen(path));
  }
  static UINT WINAPI KindOf(const wchar_t*) { return DRIVE_REMOTE; }
};

TEST_F(Protection, ClientThatALinkOrADriveHasOnANetworkIsRefused) {
  const std::pair<const char*, void*> rows[] = {
      {"GetFinalPathNameByHandleW", reinterpret_cast<void*>(&Network::PathOf)},
      {"GetDriveTypeW", reinterpret_cast<void*>(&Network::KindOf)}};
  UseClient(Client("trusted.dll"));
  for (const auto& [function, answer] : rows) {
    const Library library;
    const ImportHook hook(library.Module(), function, reinterpret_cast<void (*)()>(answer));
    EXPECT_THAT(Save(library), HasSubstr("it is not on a local disk (0x000000A1)")) << function;
  }
}

// If this library is signed, a protection client must have the same publisher.
TEST_F(Protection, SignedLibraryTrustsClientsOfItsOwnPublisherOnly) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"varnel_foreign.dll", "trusted.dll", "this library's own signature is not trusted (0x800B0109)"},
      {"varnel_signed.dll", "of_other_publisher.dll", "its publisher is not this library's (0x800B0004)"},
      {"varnel_signed.dll", "of_other_authority.dll", "its publisher is not this library's (0x800B0004)"},
      {"varnel_signed.dll", "trusted.dll", ""},
  };
  for (const auto& [library, client, reason] : rows) {
    SCOPED_TRACE(std::string(library) + " and " + client);
    UseClient(Client(client));
    EXPECT_THAT(Save(Library(Client(library))), HasSubstr(reason));
    EXPECT_EQ(*reason == '\0', TakeRecord(Wide(client).c_str()) != L"not loaded");
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
};

TEST_F(Protection, RevokedClientIsRefusedAndNothingFetchedToLearnOfIt) {
  for (const auto& [known, reason] : {std::pair(DWORD{CERT_TRUST_IS_REVOKED}, "its signer is not trusted"),
                                      std::pair(DWORD{CERT_TRUST_REVOCATION_STATUS_UNKNOWN}, "")}) {
    SCOPED_TRACE(reason);
    const Library library;
    const ExportHook hook(library.Module(), "CertGetCertificateChain", &Revocation::GetChain);
    Revocation::known = known;
    UseClient(Client("trusted.dll"));
    EXPECT_THAT(Save(library), HasSubstr(reason));
    constexpr DWORD kFromCache = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY;
    EXPECT_EQ(kFromCache, Revocation::flags & kFromCache);
    EXPECT_NE(0u, Revocation::flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT);
  }
  TakeRecord(L"trusted.dll");
}

}  // namespace
}  // namespace varnel::test
