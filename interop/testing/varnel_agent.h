/* varnel_agent.dll: the Agent of <varnel/testing.hpp> for tests in C, C#, Rust, Go and every language that
 * can call a DLL. docs/testing.md says how to build it, and what an agent does; the names are those of the
 * Agent.
 *
 * Functions are cdecl. Texts are UTF-16 and end with a zero. A text that is returned is valid until the next
 * call with the same agent, or for VarnelAgentError until the next call of the same thread. One thread at a
 * time uses an agent.
 *
 * A call that fails returns 0 or null, and VarnelAgentError then returns why and what to do. */
#pragma once

#include <stddef.h>

#if !defined(VARNEL_AGENT_API)
#define VARNEL_AGENT_API __declspec(dllimport)
#endif
#if defined(__cplusplus)
extern "C" {
#endif

typedef struct VarnelAgent VarnelAgent;

/* Returns why this thread's last call has failed; an empty text if it has not. */
VARNEL_AGENT_API const wchar_t* VarnelAgentError(void);

/* `dll` is the full path of varnel.dll. Destroy the agent after its reports; null is allowed. */
VARNEL_AGENT_API VarnelAgent* VarnelAgentCreate(const wchar_t* dll);
VARNEL_AGENT_API void VarnelAgentDestroy(VarnelAgent* agent);

/* Returns the full path of the library that sees this agent: for Library::load of Rust and Load of Go. */
VARNEL_AGENT_API const wchar_t* VarnelAgentLibraryPath(VarnelAgent* agent);
/* Stores a new report object of that library, an IOrbaEventInf3, which the caller releases. */
VARNEL_AGENT_API int VarnelAgentCreateReport(VarnelAgent* agent, void** report);

/* Return the next report, as XML, and the next log line; null, without an error, if there is none. */
VARNEL_AGENT_API const wchar_t* VarnelAgentTakeReport(VarnelAgent* agent);
VARNEL_AGENT_API const wchar_t* VarnelAgentTakeLogLine(VarnelAgent* agent);
VARNEL_AGENT_API int VarnelAgentKeepReports(VarnelAgent* agent, const wchar_t* folder);

/* The settings of docs/settings.md. */
VARNEL_AGENT_API int VarnelAgentSetNumber(VarnelAgent* agent, const wchar_t* name, unsigned number);
VARNEL_AGENT_API int VarnelAgentSetText(VarnelAgent* agent, const wchar_t* name, const wchar_t* text);
VARNEL_AGENT_API int VarnelAgentRemoveSetting(VarnelAgent* agent, const wchar_t* name);
VARNEL_AGENT_API int VarnelAgentDisableEvent(VarnelAgent* agent, int id);
VARNEL_AGENT_API int VarnelAgentEnableEvents(VarnelAgent* agent);
VARNEL_AGENT_API int VarnelAgentRemoveFolder(VarnelAgent* agent);
VARNEL_AGENT_API int VarnelAgentRestoreFolder(VarnelAgent* agent);

/* Faults: 0 disk full, 1 access denied, 2 no memory, 3 mutex held. At the n-th call from now; 0: at all. */
VARNEL_AGENT_API int VarnelAgentFail(VarnelAgent* agent, unsigned fault, unsigned atCall);
VARNEL_AGENT_API int VarnelAgentRecover(VarnelAgent* agent);
/* Returns how often the fault has happened since it was set. */
VARNEL_AGENT_API unsigned VarnelAgentFailures(VarnelAgent* agent, unsigned fault);
/* Returns 1 when a save waits for the mutex, 0 after the timeout. */
VARNEL_AGENT_API int VarnelAgentAwaitBlockedSave(VarnelAgent* agent, unsigned milliseconds);

#if defined(__cplusplus)
}
#endif
