#include "protection/signature_check.h"

#include "base/files.h"
#include "base/system_library.h"

// These need windows.h first.
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

#include <optional>

namespace varnel {
namespace {

// Loaded only if there is a client to check, because most processes never need these libraries.
struct TrustFunctions {
  LoadedLibrary wintrust = LoadSystemLibrary(L"wintrust.dll");
  LoadedLibrary crypt32 = LoadSystemLibrary(L"crypt32.dll");
  decltype(WinVerifyTrust)* verifyTrust = nullptr;
  decltype(WTHelperProvDataFromStateData)* dataOfState = nullptr;
  decltype(WTHelperGetProvSignerFromChain)* getSigner = nullptr;
  decltype(WTHelperGetProvCertFromChain)* getCertificate = nullptr;
  decltype(CertGetCertificateChain)* getChain = nullptr;
  decltype(CertFreeCertificateChain)* freeChain = nullptr;
  decltype(CertVerifyCertificateChainPolicy)* verifyPolicy = nullptr;
  decltype(CertCompareCertificate)* equal = nullptr;
  decltype(CertCompareCertificateName)* equalNames = nullptr;

  bool Load() noexcept {
    return wintrust && crypt32 && Resolve(wintrust, "WinVerifyTrust", verifyTrust) &&
           Resolve(wintrust, "WTHelperProvDataFromStateData", dataOfState) &&
           Resolve(wintrust, "WTHelperGetProvSignerFromChain", getSigner) &&
           Resolve(wintrust, "WTHelperGetProvCertFromChain", getCertificate) &&
           Resolve(crypt32, "CertGetCertificateChain", getChain) &&
           Resolve(crypt32, "CertFreeCertificateChain", freeChain) &&
           Resolve(crypt32, "CertVerifyCertificateChainPolicy", verifyPolicy) &&
           Resolve(crypt32, "CertCompareCertificate", equal) &&
           Resolve(crypt32, "CertCompareCertificateName", equalNames);
  }
};

// One verification by WinVerifyTrust. Its results live as long as this object.
class Verification {
 public:
  Verification(const TrustFunctions& functions, HANDLE file, const wchar_t* path) noexcept
      : functions_(functions) {
    file_.cbStruct = sizeof(file_);
    file_.pcwszFilePath = path;
    file_.hFile = file;
    data_.cbStruct = sizeof(data_);
    data_.dwUIChoice = WTD_UI_NONE;
    data_.fdwRevocationChecks = WTD_REVOKE_NONE;
    data_.dwUnionChoice = WTD_CHOICE_FILE;
    data_.pFile = &file_;
    data_.dwStateAction = WTD_STATEACTION_VERIFY;
    data_.dwProvFlags = WTD_REVOCATION_CHECK_NONE | WTD_CACHE_ONLY_URL_RETRIEVAL;
    status_ = Call();
  }
  ~Verification() {
    data_.dwStateAction = WTD_STATEACTION_CLOSE;
    Call();
  }
  Verification(const Verification&) = delete;
  Verification& operator=(const Verification&) = delete;

  LONG Status() const noexcept { return status_; }

  CRYPT_PROVIDER_SGNR* Signer() const noexcept {
    auto* const data = functions_.dataOfState(data_.hWVTStateData);
    return data ? functions_.getSigner(data, 0, FALSE, 0) : nullptr;
  }

 private:
  LONG Call() noexcept {
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    return functions_.verifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data_);
  }

  const TrustFunctions& functions_;
  WINTRUST_FILE_INFO file_{};
  WINTRUST_DATA data_{};
  LONG status_;
};

class CertificateChain {
 public:
  // Builds the chain for `usage` (an object identifier) at `time`, or for null at the current time.
  CertificateChain(const TrustFunctions& functions, PCCERT_CONTEXT certificate, const char* usage,
                   FILETIME* time) noexcept
      : functions_(functions) {
    auto* identifier = const_cast<char*>(usage);
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
    parameters.RequestedUsage.Usage.rgpszUsageIdentifier = &identifier;
    constexpr DWORD kFlags = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL | CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE |
                             CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT |
                             CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY;
    if (!functions_.getChain(HCCE_LOCAL_MACHINE, certificate, time, certificate->hCertStore, &parameters,
                             kFlags, nullptr, &chain_))
      chain_ = nullptr;
  }
  ~CertificateChain() {
    if (chain_) functions_.freeChain(chain_);
  }
  CertificateChain(const CertificateChain&) = delete;
  CertificateChain& operator=(const CertificateChain&) = delete;

  // Returns 0 if the chain is valid. The policy accepts some faults, such as an incomplete chain, so the
  // chain's own status counts too. An unknown revocation status is not a fault.
  DWORD Fault(const char* policy) const noexcept {
    if (!chain_) return static_cast<DWORD>(CERT_E_CHAINING);
    CERT_CHAIN_POLICY_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    parameters.dwFlags = CERT_CHAIN_POLICY_IGNORE_ALL_REV_UNKNOWN_FLAGS;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (!functions_.verifyPolicy(policy, chain_, &parameters, &status))
      return static_cast<DWORD>(CERT_E_CHAINING);
    constexpr DWORD kUnknown = CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;
    return status.dwError != 0 ? status.dwError : chain_->TrustStatus.dwErrorStatus & ~kUnknown;
  }

  // True if both lead from the same name to the same root. Both must be valid.
  bool IsOfSamePublisherAs(const CertificateChain& other) const noexcept {
    return functions_.equalNames(X509_ASN_ENCODING, &Signer()->Subject, &other.Signer()->Subject) &&
           functions_.equal(X509_ASN_ENCODING, Root(), other.Root());
  }

 private:
  CERT_INFO* Signer() const noexcept { return chain_->rgpChain[0]->rgpElement[0]->pCertContext->pCertInfo; }
  CERT_INFO* Root() const noexcept {
    const CERT_SIMPLE_CHAIN& simple = *chain_->rgpChain[chain_->cChain - 1];
    return simple.rgpElement[simple.cElement - 1]->pCertContext->pCertInfo;
  }

  const TrustFunctions& functions_;
  PCCERT_CHAIN_CONTEXT chain_ = nullptr;
};

PCCERT_CONTEXT CertificateOf(const TrustFunctions& functions, CRYPT_PROVIDER_SGNR& signer) noexcept {
  const auto* const found = functions.getCertificate(&signer, 0);
  return found ? found->pCert : nullptr;
}

// Returns the time of signing, if a trusted time stamp confirms it; otherwise null.
FILETIME* ConfirmedTimeOf(const TrustFunctions& functions, CRYPT_PROVIDER_SGNR& signer) noexcept {
  if (signer.csCounterSigners == 0) return nullptr;
  const PCCERT_CONTEXT certificate = CertificateOf(functions, signer.pasCounterSigners[0]);
  if (!certificate) return nullptr;
  const CertificateChain chain(functions, certificate, szOID_PKIX_KP_TIMESTAMP_SIGNING,
                               &signer.sftVerifyAsOf);
  return chain.Fault(CERT_CHAIN_POLICY_BASE) == 0 ? &signer.sftVerifyAsOf : nullptr;
}

// A file's signature. The constructor verifies it, and the results live as long as this object.
class Signature {
 public:
  Signature(const TrustFunctions& functions, HANDLE file, const wchar_t* path) noexcept
      : verification_(functions, file, path) {
    if (verification_.Status() == TRUST_E_NOSIGNATURE) {
      verdict = {L"it is not signed", static_cast<DWORD>(TRUST_E_NOSIGNATURE)};
      return;
    }
    if (verification_.Status() != 0) {
      verdict = {L"its signature is not valid", static_cast<DWORD>(verification_.Status())};
      return;
    }
    CRYPT_PROVIDER_SGNR* const signer = verification_.Signer();
    const PCCERT_CONTEXT certificate = signer ? CertificateOf(functions, *signer) : nullptr;
    if (!certificate) {
      verdict = {L"its signer is not known", static_cast<DWORD>(TRUST_E_NO_SIGNER_CERT)};
      return;
    }
    chain.emplace(functions, certificate, szOID_PKIX_KP_CODE_SIGNING, ConfirmedTimeOf(functions, *signer));
    if (const DWORD fault = chain->Fault(CERT_CHAIN_POLICY_AUTHENTICODE))
      verdict = {L"its signer is not trusted", fault};
  }

  SignatureVerdict verdict{nullptr, 0};
  std::optional<CertificateChain> chain;

 private:
  Verification verification_;
};

// Gets the path of this module's file.
bool GetOwnFile(wchar_t (&path)[1024]) noexcept {
  HMODULE self = nullptr;
  constexpr DWORD kFlags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  return GetModuleHandleExW(kFlags, reinterpret_cast<const wchar_t*>(&CheckSignature), &self) &&
         GetModulePath(self, path);
}

// If the library is signed, its publisher must be the client's too.
SignatureVerdict ComparePublishers(const TrustFunctions& functions, const Signature& client,
                                   const wchar_t* library) noexcept {
  wchar_t ownFile[1024];
  if (!library && !GetOwnFile(ownFile)) return {L"this library's own file is not known", GetLastError()};
  const wchar_t* const path = library ? library : ownFile;
  const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  if (!file) return {L"this library's own file cannot be opened", GetLastError()};
  const Signature own(functions, file.Get(), path);
  if (own.verdict.code == static_cast<DWORD>(TRUST_E_NOSIGNATURE)) return {nullptr, 0};
  if (own.verdict.objection) return {L"this library's own signature is not trusted", own.verdict.code};
  if (!client.chain->IsOfSamePublisherAs(*own.chain))
    return {L"its publisher is not this library's", static_cast<DWORD>(TRUST_E_SUBJECT_NOT_TRUSTED)};
  return {nullptr, 0};
}

}  // namespace

SignatureVerdict CheckSignature(HANDLE file, const wchar_t* path, const wchar_t* library) noexcept {
  TrustFunctions functions;
  if (!functions.Load()) return {L"the system cannot check signatures", ERROR_PROC_NOT_FOUND};
  const Signature signature(functions, file, path);
  return signature.verdict.objection ? signature.verdict : ComparePublishers(functions, signature, library);
}

}  // namespace varnel
