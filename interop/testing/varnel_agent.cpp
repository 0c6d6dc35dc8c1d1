#define VARNEL_AGENT_API __declspec(dllexport)
#include "varnel_agent.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <varnel/testing.hpp>

struct VarnelAgent {
  explicit VarnelAgent(const wchar_t* dll) : agent(dll) {}

  varnel::testing::Agent agent;
  std::deque<std::wstring> reports, lines;  // that have not been returned yet
  std::wstring text;                        // that was returned last
};

namespace {

using varnel::testing::Fault;

// Of this thread. What is longer is cut.
thread_local wchar_t t_error[500];

void SetError(std::string_view words) noexcept {
  *std::copy_n(words.begin(), (std::min)(words.size(), std::size(t_error) - 1), t_error) = L'\0';
}

// Returns what action() returns; 0 or null, with the words of VarnelAgentError, if it throws.
template <class Action>
auto Try(Action action) noexcept -> decltype(action()) {
  try {
    SetError({});
    return action();
  } catch (const std::exception& error) {
    SetError(error.what());
    return {};
  }
}
// Returns 1; 0 as Try does.
template <class Action>
int Do(Action action) noexcept {
  return Try([&] { return action(), 1; });
}

Fault FaultOf(unsigned number) {
  if (number > static_cast<unsigned>(Fault::kMutexHeld))
    throw std::out_of_range("VarnelAgent: fault " + std::to_string(number) + " is unknown. Pass 0 to 3.");
  return static_cast<Fault>(number);
}

// Removes the first text from the list and returns it; null if the list is empty.
const wchar_t* TakeFirst(std::deque<std::wstring>& texts, std::wstring& taken) {
  if (texts.empty()) return nullptr;
  taken = std::move(texts.front());
  texts.pop_front();
  return taken.c_str();
}

}  // namespace

const wchar_t* VarnelAgentError() {
  return t_error;
}

VarnelAgent* VarnelAgentCreate(const wchar_t* dll) {
  return Try([&] { return std::make_unique<VarnelAgent>(dll).release(); });
}
void VarnelAgentDestroy(VarnelAgent* agent) {
  const std::unique_ptr<VarnelAgent> owned(agent);
}

const wchar_t* VarnelAgentLibraryPath(VarnelAgent* agent) {
  return agent->agent.LibraryPath().c_str();
}
int VarnelAgentCreateReport(VarnelAgent* agent, void** report) {
  return Do([&] {
    IOrbaEventInf3* made = nullptr;
    varnel::detail::Throwing::Check("VarnelAgentCreateReport", agent->agent.Library().TryCreate(&made));
    *report = made;
  });
}

const wchar_t* VarnelAgentTakeReport(VarnelAgent* agent) {
  return Try([&] {
    if (agent->reports.empty())
      for (const varnel::testing::ReportFile& file : agent->agent.TakeReports())
        agent->reports.push_back(varnel::testing::detail::WideOf(file.bytes, CP_UTF8, 0));
    return TakeFirst(agent->reports, agent->text);
  });
}
const wchar_t* VarnelAgentTakeLogLine(VarnelAgent* agent) {
  return Try([&] {
    if (agent->lines.empty())
      for (std::wstring& line : agent->agent.TakeLog()) agent->lines.push_back(std::move(line));
    return TakeFirst(agent->lines, agent->text);
  });
}
int VarnelAgentKeepReports(VarnelAgent* agent, const wchar_t* folder) {
  return Do([&] { agent->agent.KeepReports(folder); });
}

int VarnelAgentSetNumber(VarnelAgent* agent, const wchar_t* name, unsigned number) {
  return Do([&] { agent->agent.SetNumber(name, number); });
}
int VarnelAgentSetText(VarnelAgent* agent, const wchar_t* name, const wchar_t* text) {
  return Do([&] { agent->agent.SetText(name, text); });
}
int VarnelAgentRemoveSetting(VarnelAgent* agent, const wchar_t* name) {
  return Do([&] { agent->agent.RemoveSetting(name); });
}
int VarnelAgentDisableEvent(VarnelAgent* agent, int id) {
  return Do([&] { agent->agent.DisableEvent(id); });
}
int VarnelAgentEnableEvents(VarnelAgent* agent) {
  return Do([&] { agent->agent.EnableEvents(); });
}
int VarnelAgentRemoveFolder(VarnelAgent* agent) {
  return Do([&] { agent->agent.RemoveFolder(); });
}
int VarnelAgentRestoreFolder(VarnelAgent* agent) {
  return Do([&] { agent->agent.RestoreFolder(); });
}

int VarnelAgentFail(VarnelAgent* agent, unsigned fault, unsigned atCall) {
  return Do([&] { agent->agent.Fail(FaultOf(fault), atCall); });
}
int VarnelAgentRecover(VarnelAgent* agent) {
  return Do([&] { agent->agent.Recover(); });
}
unsigned VarnelAgentFailures(VarnelAgent* agent, unsigned fault) {
  return Try([&] { return agent->agent.Failures(FaultOf(fault)); });
}
int VarnelAgentAwaitBlockedSave(VarnelAgent* agent, unsigned milliseconds) {
  return Try([&] { return agent->agent.AwaitBlockedSave(milliseconds) ? 1 : 0; });
}
