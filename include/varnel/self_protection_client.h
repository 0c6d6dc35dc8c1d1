/* self_protection_client.h - what the self-protection service's client library exports, for C and C++. For
 * those who build that service; products do not need it.
 *
 * The service keeps processes out of the folders that it guards. A process that holds an exception for a path
 * may create that path's folder and create, write and delete the file meanwhile. varnel.dll asks for one
 * before it writes an event file, and withdraws it afterwards.
 *
 * The client library is a DLL on a local disk, named by the registry value "SelfProtectionClient", with an
 * Authenticode signature whose certificates lead to a root that this machine trusts for code;
 * docs/settings.md has all conditions. It exports the names below without decoration, on x86 too, and depends
 * on libraries of the system folder only. Once loaded it stays in the process.
 *
 * Both functions may be called on any thread, also at the same time. They return quickly, because all
 * processes that save event files wait meanwhile, and let no exception out. Declared by these types, a
 * definition of another form does not compile:
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

/* Asks for an exception for the process and one file. `path` is a full path, zero-terminated and valid during
 * the call; its folder is written as the agent's settings have it. Returns 0 and stores in *token a number
 * that the withdrawal passes back; or returns any other number when there is no exception, and *token is not
 * used. varnel.dll then writes without one. */
typedef LONG(WINAPI SelfProtectionRequestFunction)(DWORD processId, const wchar_t* path, ULONGLONG* token);

/* Ends the exception. Called once for each one that was given, by the process that asked for it. */
typedef void(WINAPI SelfProtectionWithdrawFunction)(ULONGLONG token);

#ifdef __cplusplus
}
#endif

#endif
