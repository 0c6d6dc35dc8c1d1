/* What the self-protection service's client library exports, in plain C.
 *
 * The service keeps processes out of the folders that it guards. A process that holds an exception for a path
 * may create that path's folder and create, write and delete the file meanwhile.
 *
 * The library is a DLL on a local disk with an Authenticode signature whose certificates lead to a root that
 * this machine trusts for code. Its exports have the names below without decoration, on x86 too. It depends
 * on libraries of the system folder only. Once loaded it stays in the process. Both functions may be called
 * on any thread, also at the same time, return quickly and let no exception out. */
#ifndef VARNEL_PROTECTION_CLIENT_INTERFACE_H
#define VARNEL_PROTECTION_CLIENT_INTERFACE_H

#include <windows.h>

#define SELF_PROTECTION_REQUEST "SelfProtectionRequestException"
#define SELF_PROTECTION_WITHDRAW "SelfProtectionWithdrawException"

#ifdef __cplusplus
extern "C" {
#endif

/* Asks for an exception for the process and the zero-terminated path of a file, whose folder stands there as
 * the agent's settings give it. Returns 0 and a token for the withdrawal, or any other number when there is
 * no exception; *token is not used then. */
typedef LONG(WINAPI SelfProtectionRequestFunction)(DWORD processId, const wchar_t* path, ULONGLONG* token);

/* Ends the exception; called once for each that was given. */
typedef void(WINAPI SelfProtectionWithdrawFunction)(ULONGLONG token);

#ifdef __cplusplus
}
#endif

#endif
