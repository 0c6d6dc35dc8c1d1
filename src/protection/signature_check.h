#pragma once

#include <windows.h>

namespace varnel {

struct SignatureVerdict {
  const wchar_t* objection;  // what is wrong, for a log line; null when the file may be trusted
  DWORD code;                // the system's code for it
};

// Whether an open file has an intact Authenticode signature by a certificate that is for code signing and
// leads, without any error, to a root that the machine (not the user) trusts. A signature whose certificate
// has expired counts only with a time stamp from when it had not. When `library`, a file's path, or with null
// the module that this is linked into, is signed itself, the publisher must be the same: the same name under
// the same root. `path` is the file's own path. Nothing is fetched from the network: the root has to be in
// the machine's store already, and a certificate is refused as revoked when the machine knows of it.
//
// The system's verification function alone is no proof: what it accepts depends on policies and, on some
// systems, on nothing but an intact hash. So the chain is built and judged here as well, its status included.
[[nodiscard]] SignatureVerdict CheckSignature(HANDLE file, const wchar_t* path,
                                              const wchar_t* library) noexcept;

}  // namespace varnel
