// trust CERTIFICATE   makes this machine trust a certificate authority; returns 0 when that is so. WINE: 10
// forgets what has been written into the registry instead.

#include <windows.h>
#include <wincrypt.h>

#include <fstream>
#include <iterator>
#include <vector>

int main(int, char** arguments) {
  std::ifstream file(arguments[1], std::ios::binary);
  const std::vector<char> encoded(std::istreambuf_iterator<char>(file), {});
  const HCERTSTORE store =
      CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root");
  return CertAddEncodedCertificateToStore(
             store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
             static_cast<DWORD>(encoded.size()), CERT_STORE_ADD_REPLACE_EXISTING, nullptr) &&
                 CertCloseStore(store, 0)
             ? 0
             : 1;
}
