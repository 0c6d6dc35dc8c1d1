/* self_protection_client.h - the functions that the self-protection service's client library exports, for C
 * and C++. For the developers of that service; products do not need this header.
 *
 * The service keeps processes from writing into the folders that it guards. A process that has a write
 * permission for a path (the names below call it an exception) may create the path's folder, and create,
 * write and delete the file. varnel.dll requests a permission before it writes an event file and withdraws it
 * afterwards.
 *
 * The client library is a DLL on a local disk. The registry value "SelfProtectionClient" has its path, and
 * its Authenticode signature leads to a root certificate that this machine trusts for code; docs/settings.md
 * has all conditions. It exports the names below without decoration, on x86 too, and depends on libraries of
 * the system folder only. After it has been loaded it stays in the process.
 *
 * Both functions may be called on any thread, also at the same time. They must return quickly, because
 * processes that save event files wait for them, and must not throw. With declarations by these types, the
 * compiler refuses a definition with another signature:
 *
 *   SelfProtectionRequestFunction SelfProtectionRequestException;
 *   SelfProtectionWithdrawFunction SelfProtectionWithdrawException; */
#ifndef VARNEL_SELF_PROTECTION_CLIENT_H
#define VARNEL_SELF_PROTECTION_CLIENT_H

#include <varnel/system.h>

/* The names of the exports. */
#define SELF_PROTECTION_REQUEST "SelfProtectionRequestException"
#define SELF_PROTECTION_WITHDRAW "SelfProtectionWithdrawException"

#ifdef __cplusplus
extern "C" {
#endif

/* Gives the process permission to write one file. `path` is a full, zero-terminated path, valid during the
 * call; its folder is spelt as in the agent's settings. Returns 0 and stores in *token a number that
 * varnel.dll passes to the withdrawal. Returns any other number if it gives no permission; *token is then
 * ignored, and varnel.dll writes without a permission. */
typedef LONG(WINAPI SelfProtectionRequestFunction)(DWORD processId, const wchar_t* path, ULONGLONG* token);

/* Ends a permission. Called once for each permission, by the process that requested it. */
typedef void(WINAPI SelfProtectionWithdrawFunction)(ULONGLONG token);

#ifdef __cplusplus
}
#endif

#endif
