#pragma once

#include "support/captured_output.h"
#include "support/library.h"

#include <windows.h>
#include <wincrypt.h>

#include <filesystem>
#include <optional>

namespace varnel::test {

// Returns the path of a client library that sign_clients.sh has made.
inline std::wstring Client(const std::string& name) {
  return Wide(Replaced(VARNEL_CLIENTS "/" + name, "/", "\\"));
}

// Trusts an authority on this machine, that is in the test's prefix, during its lifetime.
class TrustedAuthority {
 public:
  explicit TrustedAuthority(const char* name)
      : store_(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root")) {
    const std::string encoded = ReadBytes(Client(name));
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

// The self-protection client with real files. Windows keeps its trust in certificates in the machine's
// registry, so that is used as it is.
class Protection : public MachineAgentTest {
 protected:
  static void UseClient(const std::wstring& path) { SetText(kFramework, L"SelfProtectionClient", path); }

  // Copies a client to a name that no other test loads. Returns the path.
  std::wstring CopyOfClient(const std::wstring& name, const char* client = "trusted.dll") const {
    std::filesystem::copy_file(Client(client), folder.File(name),
                               std::filesystem::copy_options::overwrite_existing);
    return folder.File(name);
  }

  static void SaveReport(const Library& library, const wchar_t* softwareId = kAgent,
                         HRESULT expected = S_OK) {
    const auto report = library.CreateReport();
    EXPECT_EQ(S_OK, Initialize(*report, softwareId));
    Fill(*report);
    EXPECT_EQ(expected, report->Save());
  }
  // Saves a report and returns the log lines.
  static std::string Save(const Library& library, const wchar_t* softwareId = kAgent,
                          HRESULT expected = S_OK) {
    return OutputOf([&] { SaveReport(library, softwareId, expected); });
  }
  // The same by a library that has just been loaded.
  static std::string SaveOnce(const wchar_t* softwareId = kAgent, HRESULT expected = S_OK) {
    return Save(Library(), softwareId, expected);
  }

  // Returns what the stand-in has recorded since the last call. From now on it answers requests with
  // `answer`.
  static std::wstring TakeRecord(const wchar_t* client, LONG answer = 0) {
    const HMODULE loaded = GetModuleHandleW(client);
    if (!loaded) return L"not loaded";
    wchar_t record[2000];
    FunctionOf<void WINAPI(wchar_t*, LONG)>(loaded, "StandInTake")(record, answer);
    return record;
  }

  // Once for all tests: a process keeps the roots that it has seen.
  static void SetUpTestSuite() {
    authority.emplace("authority.cer");
    secondAuthority.emplace("second_authority.cer");
  }
  static void TearDownTestSuite() {
    secondAuthority.reset();
    authority.reset();
  }

  static inline std::optional<TrustedAuthority> authority;
  static inline std::optional<TrustedAuthority> secondAuthority;
};

}  // namespace varnel::test
