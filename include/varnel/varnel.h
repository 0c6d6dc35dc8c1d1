/* varnel.h - the component's contract for C99 and C++: interfaces, identifiers, and result codes with their
 * texts.
 *
 * C: one source file includes <initguid.h> before this header, which defines the identifiers in that file.
 * The methods are macros like IOrbaEventInf3_Save(report). C++: the interfaces are classes, and
 * __uuidof(IOrbaEventInf3) is an interface's identifier; <varnel/varnel.hpp> is easier to use.
 *
 * docs/integration.md has the calling order, and the arguments and ownership rules of each method. */
#pragma once

#include <varnel/system.h>

#ifdef __cplusplus
/* By contract IOrbaEventInf2 repeats methods of its base with other arguments. */
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
/* IOrbaEventInf2 repeats these names of its base, and its macros would replace the names of the structure's
 * slots. Use the macros IOrbaEventInf3_... */
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

/* The methods' results beyond S_OK, E_FAIL, E_OUTOFMEMORY, and E_ACCESSDENIED, which means that Windows did
 * not let the thread impersonate its user again. */
#define VARNEL_E_NOT_MANAGED VARNEL_RESULT(0xFFFFF703UL)              /* -2301 */
#define VARNEL_E_EVENT_DISABLED VARNEL_RESULT(0xFFFFF704UL)           /* -2300 */
#define VARNEL_E_NOT_WRITTEN VARNEL_RESULT(0xFFFFFFD7UL)              /* -41 */
#define VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN VARNEL_RESULT(0xFFFFFFC9UL) /* -55 */
#define VARNEL_E_BAD_ARGUMENT VARNEL_RESULT(0xFFFFFFF3UL)             /* -13 */
#define VARNEL_E_NOT_AGENT_COMPONENT VARNEL_RESULT(0xFFFFFFFBUL)      /* -5 */

/* The words for a result. Both texts are static, zero-terminated and ASCII. */
typedef struct VarnelResultText {
  const wchar_t* meaning; /* what was wrong: a clause without a full stop */
  const wchar_t* remedy;  /* what to do: whole sentences */
} VarnelResultText;

/* Returns the words for a result of a method; general words for any other failure. */
#ifdef __cplusplus
inline
#else
static inline
#endif
    VarnelResultText
    VarnelDescribeResult(HRESULT code) {
  static const VarnelResultText success = {L"succeeded", L"Nothing needs to be done."};
  static const VarnelResultText unknown = {
      L"the call failed",
      L"Run varnel trace to see which step failed, and look the number up in Windows's error messages."};
  static const struct {
    HRESULT code;
    VarnelResultText text;
  } entries[] = {
      {E_FAIL,
       {L"an argument is null or invalid, a method was called out of order, or the event folder is not set",
        L"Call Initialize with non-null texts first, and CreateMachineElement and CreateEventElement (with "
        L"an identifier other than 0) before Save. Use the elements of a report only until its DeInitialize. "
        L"If Save fails, run varnel doctor."}},
      {E_OUTOFMEMORY,
       {L"there is not enough memory", L"Free some memory and call again. The report has not changed."}},
      {REGDB_E_CLASSNOTREG,
       {L"the component is not registered for this kind of program, 64-bit or 32-bit",
        L"Install the package, or run regsvr32 on the 64-bit varnel.dll for 64-bit programs and on the "
        L"32-bit one for 32-bit programs; or keep varnel.dll and its side-by-side manifest in the program's "
        L"folder."}},
      {CO_E_NOTINITIALIZED,
       {L"COM is not initialised on this thread", L"Call CoInitializeEx on each thread that uses reports."}},
      {VARNEL_E_NOT_MANAGED,
       {L"the agent on this machine is not managed",
        L"Enrol the agent at the management server, or use Initialize instead of Initialize3."}},
      {VARNEL_E_EVENT_DISABLED,
       {L"the event filter disables this event, or all events of the product",
        L"Do not report this event, or remove its identifier (or 0, which disables all events) from "
        L"DisabledEvent in the agent's EvtFiltr.ini."}},
      {VARNEL_E_NOT_WRITTEN,
       {L"the event file could not be created or written",
        L"Make sure that the event folder exists, that this process may create files in it and that the disk "
        L"is not full; then save again."}},
      {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN,
       {L"the report is too large, or its file could not be written",
        L"Put fewer events into one report and make sure that the disk is not full; then save again."}},
      {VARNEL_E_BAD_ARGUMENT,
       {L"the software identifier or the file extension is missing, or the extension is too long",
        L"Call Initialize first. Pass a software identifier, and a file extension of 1 to 200 characters."}},
      {VARNEL_E_NOT_AGENT_COMPONENT,
       {L"the software identifier does not begin with ORBAAGENT",
        L"Use Save. SaveAgentEventOnly is for components of the agent."}},
  };
  size_t i;
  if (SUCCEEDED(code)) return success;
  for (i = 0; i < sizeof(entries) / sizeof(entries[0]); ++i)
    if (entries[i].code == code) return entries[i].text;
  return unknown;
}
