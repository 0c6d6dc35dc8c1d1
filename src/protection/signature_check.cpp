#include "protection/signature_check.h"

#include "base/system_library.h"

// Behind windows.h, which they need.
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

namespace varnel {
namespace {

// Loaded only when there is a client to check: most processes never need these libraries.
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

  bool Load() noexcept {
    return wintrust && crypt32 && Resolve(wintrust, "WinVerifyTrust", verifyTrust) &&
           Resolve(wintrust, "WTHelperProvDataFromStateData", dataOfState) &&
           Resolve(wintrust, "WTHelperGetProvSignerFromChain", getSigner) &&
           Resolve(wintrust, "WTHelperGetProvCertFromChain", getCertificate) &&
           Resolve(crypt32, "CertGetCertificateChain", getChain) &&
           Resolve(crypt32, "CertFreeCertificateChain", freeChain) &&
           Resolve(crypt32, "CertVerifyCertificateChainPolicy", verifyPolicy);
  }
};

// One verification by the system; what it found lives as long as this.
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
  // For `usage` (an object identifier), at `time` or, when null, now.
  CertificateChain(const TrustFunctions& functions, PCCERT_CONTEXT certificate, const char* usage,
                   FILETIME* time) noexcept
      : functions_(functions) {
    auto* identifier = const_cast<char*>(usage);
    CERT_CHAIN_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
    parameters.RequestedUsage.Usage.cUsageIdentifier = 1;
    parameters.RequestedUsage.Usage.rgpszUsageIdentifier = &identifier;
    if (!functions_.getChain(HCCE_LOCAL_MACHINE, certificate, time, certificate->hCertStore, &parameters,
                             CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL | CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE,
                             nullptr, &chain_))
      chain_ = nullptr;
  }
  ~CertificateChain() {
    if (chain_) functions_.freeChain(chain_);
  }
  CertificateChain(const CertificateChain&) = delete;
  CertificateChain& operator=(const CertificateChain&) = delete;

  // 0 when the chain is without fault. The policy passes some faults, an incomplete chain among them, so the
  // chain's own status counts too.
  DWORD Fault(const char* policy) const noexcept {
    if (!chain_) return static_cast<DWORD>(CERT_E_CHAINING);
    CERT_CHAIN_POLICY_PARA parameters{};
    parameters.cbSize = sizeof(parameters);
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (!functions_.verifyPolicy(policy, chain_, &parameters, &status))
      return static_cast<DWORD>(CERT_E_CHAINING);
    return status.dwError != 0 ? status.dwError : chain_->TrustStatus.dwErrorStatus;
  }

 private:
  const TrustFunctions& functions_;
  PCCERT_CHAIN_CONTEXT chain_ = nullptr;
};

PCCERT_CONTEXT CertificateOf(const TrustFunctions& functions, CRYPT_PROVIDER_SGNR& signer) noexcept {
  const auto* const found = functions.getCertificate(&signer, 0);
  return found ? found->pCert : nullptr;
}

// When the file was signed, if a trusted time-stamping service has confirmed it; else null.
FILETIME* ConfirmedTimeOf(const TrustFunctions& functions, CRYPT_PROVIDER_SGNR& signer) noexcept {
  if (signer.csCounterSigners == 0) return nullptr;
  const PCCERT_CONTEXT certificate = CertificateOf(functions, signer.pasCounterSigners[0]);
  if (!certificate) return nullptr;
  const CertificateChain chain(functions, certificate, szOID_PKIX_KP_TIMESTAMP_SIGNING,
                               &signer.sftVerifyAsOf);
  return chain.Fault(CERT_CHAIN_POLICY_BASE) == 0 ? &signer.sftVerifyAsOf : nullptr;
}

}  // namespace

SignatureVerdict CheckSignature(HANDLE file, const wchar_t* path) noexcept {
  TrustFunctions functions;
  if (!functions.Load()) return {L"the system cannot check signatures", ERROR_PROC_NOT_FOUND};
  const Verification verification(functions, file, path);
  if (verification.Status() == TRUST_E_NOSIGNATURE)
    return {L"it is not signed", static_cast<DWORD>(TRUST_E_NOSIGNATURE)};
  if (verification.Status() != 0)
    return {L"its signature is not valid", static_cast<DWORD>(verification.Status())};
  CRYPT_PROVIDER_SGNR* const signer = verification.Signer();
  const PCCERT_CONTEXT certificate = signer ? CertificateOf(functions, *signer) : nullptr;
  if (!certificate) return {L"its signer is not known", static_cast<DWORD>(TRUST_E_NO_SIGNER_CERT)};
  const CertificateChain chain(functions, certificate, szOID_PKIX_KP_CODE_SIGNING,
                               ConfirmedTimeOf(functions, *signer));
  const DWORD fault = chain.Fault(CERT_CHAIN_POLICY_AUTHENTICODE);
  if (fault != 0) return {L"its signer is not trusted", fault};
  return {nullptr, 0};
}

}  // namespace varnel
