#include "events/results.h"

namespace varnel {
namespace {

struct Entry {
  HRESULT code;
  ResultText text;
};

constexpr Entry kTexts[] = {
    {E_FAIL,
     {L"an argument is missing, the call is out of order, or a folder of the agent is not set",
      L"Pass every argument; call Initialize first, and CreateMachineElement and CreateEventElement before "
      L"Save. The elements of a report can be used until its DeInitialize."}},
    {E_OUTOFMEMORY,
     {L"there is not enough memory", L"Free some memory and call again; the report is as it was."}},
    {kAgentNotManaged,
     {L"the agent on this machine is not managed",
      L"Enrol the agent at the management server, or use Initialize instead of Initialize3."}},
    {kEventDisabled,
     {L"the event filter disables this event, or all events of the product",
      L"Do not report this event, or take it (or event 0) out of DisabledEvent in the agent's "
      L"EvtFiltr.ini."}},
    {kEventFileNotWritten,
     {L"the event file could not be created or written",
      L"Make sure that the event folder exists, that this process may write there and that the disk is not "
      L"full; then save again."}},
    {kTooLargeOrNotWritten,
     {L"the report is too large, or its file could not be written",
      L"Put fewer events into one report and make sure that the disk is not full; then save again."}},
    {kBadArgument,
     {L"the software identifier or the file extension is missing, or the extension is too long",
      L"Call Initialize first; pass both, and an extension of at most 200 characters."}},
    {kNotAnAgentComponent,
     {L"the software identifier does not begin with ORBAAGENT",
      L"Use Save; agent-only events are for components of the agent."}},
};

}  // namespace

ResultText DescribeResult(HRESULT code) noexcept {
  for (const Entry& entry : kTexts)
    if (entry.code == code) return entry.text;
  return {L"the call failed", L"The trace shows which step failed."};
}

}  // namespace varnel
