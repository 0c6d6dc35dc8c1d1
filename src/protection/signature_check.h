#pragma once

#include <windows.h>

namespace varnel {

struct SignatureVerdict {
  const wchar_t* objection;  // the fault, for a log line; null if the file may be trusted
  DWORD code;                // a Win32 error code or an HRESULT; 0 if the file may be trusted
};

// Checks whether an open file has an intact Authenticode signature by a code-signing certificate that leads
// without error to a root certificate in the machine's (not the user's) store. A signature of an expired
// certificate counts only with a time stamp from its period of validity. `path` is the file's own path.
// `library` is the path of another file; null means the file of this module. If that file is not signed, any
// publisher may be trusted. Otherwise its signature must be trusted too and have the same publisher: the same
// name under the same root. Nothing is fetched from the network: the root must be in the store, and a
// certificate is refused as revoked only if the machine knows it. Takes time. The calling thread must not
// impersonate: an exception of LoadSystemLibrary, which is called here, would end the process.
//
// WinVerifyTrust alone is not sufficient, because its result depends on policies and trust providers: some
// check no more than an intact hash. So the chain is built and checked here as well, with its status.
[[nodiscard]] SignatureVerdict CheckSignature(HANDLE file, const wchar_t* path,
                                              const wchar_t* library) noexcept;

}  // namespace varnel
