/* varnel.h - the component's contract for C99 and C++: interfaces, identifiers, result codes and their words.
 *
 * C: one source file includes <initguid.h> before this header, which defines the identifiers there; the
 * methods are macros like IOrbaEventInf3_Save(report). C++: IOrbaEventInf3 and its like are classes,
 * __uuidof(IOrbaEventInf3) is their identifier; <varnel/varnel.hpp> is more comfortable.
 *
 * docs/integration.md has the calling order, and what each method wants and owns. */
#pragma once

#include <varnel/system.h>

#ifdef __cplusplus
/* IOrbaEventInf2 repeats methods of its base with other arguments; this is the contract. */
#if defined(__GNUC__) || defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"
#endif
#include <varnel/varnel_contract.h>
#if defined(__GNUC__) || defined(__clang__)
#pragma GCC diagnostic pop
#endif
#else
#include <varnel/varnel_contract.h>
/* These repeat names of their base, and as macros they would replace the slots' own names: IOrbaEventInf3_...
 * does. */
#undef IOrbaEventInf2_GetMachineElement
#undef IOrbaEventInf2_GetSoftwareElement
#undef IOrbaEventInf2_CreateEventElement
#endif

#include <stddef.h>

#ifdef __cplusplus
#define VARNEL_RESULT(code) static_cast<HRESULT>(code)
#else
#define VARNEL_RESULT(code) ((HRESULT)(code))
#endif

/* What the methods return beyond S_OK, E_FAIL and E_OUTOFMEMORY. */
#define VARNEL_E_NOT_MANAGED VARNEL_RESULT(0xFFFFF703UL)              /* -2301 */
#define VARNEL_E_EVENT_DISABLED VARNEL_RESULT(0xFFFFF704UL)           /* -2300 */
#define VARNEL_E_NOT_WRITTEN VARNEL_RESULT(0xFFFFFFD7UL)              /* -41 */
#define VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN VARNEL_RESULT(0xFFFFFFC9UL) /* -55 */
#define VARNEL_E_BAD_ARGUMENT VARNEL_RESULT(0xFFFFFFF3UL)             /* -13 */
#define VARNEL_E_NOT_AGENT_COMPONENT VARNEL_RESULT(0xFFFFFFFBUL)      /* -5 */

/* What a result means, in words for those who see no table of numbers. Both are terminated, static, ASCII. */
typedef struct VarnelResultText {
  const wchar_t* meaning; /* what was wrong: a clause without a full stop */
  const wchar_t* remedy;  /* what to do: whole sentences */
} VarnelResultText;

/* Returns the words for a result; general ones for a failure that is not among the methods' results. */
#ifdef __cplusplus
inline
#else
static inline
#endif
    VarnelResultText
    VarnelDescribeResult(HRESULT code) {
  static const VarnelResultText success = {L"succeeded", L"Nothing is left to do."};
  static const VarnelResultText unknown = {
      L"the call failed", L"The trace shows which step failed; the system's messages explain the number."};
  static const struct {
    HRESULT code;
    VarnelResultText text;
  } entries[] = {
      {E_FAIL,
       {L"an argument is missing, the call is out of order, or a folder of the agent is not set",
        L"Pass every argument; call Initialize first, and CreateMachineElement and CreateEventElement before "
        L"Save. The elements of a report can be used until its DeInitialize."}},
      {E_OUTOFMEMORY,
       {L"there is not enough memory", L"Free some memory and call again; the report is as it was."}},
      {REGDB_E_CLASSNOTREG,
       {L"the component is not registered for programs of this width",
        L"Install the package, or run regsvr32 on the varnel.dll of this width; or keep it in the program's "
        L"folder with its side-by-side manifest."}},
      {CO_E_NOTINITIALIZED,
       {L"COM is not initialised on this thread", L"Call CoInitializeEx on each thread that makes reports."}},
      {VARNEL_E_NOT_MANAGED,
       {L"the agent on this machine is not managed",
        L"Enrol the agent at the management server, or use Initialize instead of Initialize3."}},
      {VARNEL_E_EVENT_DISABLED,
       {L"the event filter disables this event, or all events of the product",
        L"Do not report this event, or take it (or event 0) out of DisabledEvent in the agent's "
        L"EvtFiltr.ini."}},
      {VARNEL_E_NOT_WRITTEN,
       {L"the event file could not be created or written",
        L"Make sure that the event folder exists, that this process may write there and that the disk is not "
        L"full; then save again."}},
      {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN,
       {L"the report is too large, or its file could not be written",
        L"Put fewer events into one report and make sure that the disk is not full; then save again."}},
      {VARNEL_E_BAD_ARGUMENT,
       {L"the software identifier or the file extension is missing, or the extension is too long",
        L"Call Initialize first; pass both, and an extension of at most 200 characters."}},
      {VARNEL_E_NOT_AGENT_COMPONENT,
       {L"the software identifier does not begin with ORBAAGENT",
        L"Use Save; agent-only events are for components of the agent."}},
  };
  size_t i;
  if (SUCCEEDED(code)) return success;
  for (i = 0; i < sizeof(entries) / sizeof(entries[0]); ++i)
    if (entries[i].code == code) return entries[i].text;
  return unknown;
}
