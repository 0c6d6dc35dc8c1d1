#include "events/report_rules.h"

#include "settings/agent_settings.h"

#include <cwchar>

namespace varnel {

bool RefusesCall(bool refuseWhenUnmanaged) noexcept {
  return refuseWhenUnmanaged && !IsAgentManaged();
}

bool IsServerSoftwareId(const wchar_t* softwareId) noexcept {
  return std::wcscmp(softwareId, kServerSoftwareId) == 0;
}

SaveWay ChooseSaveWay(bool refuseWhenUnmanaged, bool isComplete, const wchar_t* softwareId) noexcept {
  if (RefusesCall(refuseWhenUnmanaged)) return SaveWay::kRefused;
  if (!IsAgentManaged()) return SaveWay::kDropped;
  if (!isComplete) return SaveWay::kIncomplete;
  return IsServerSoftwareId(softwareId) ? SaveWay::kToServer : SaveWay::kToAgent;
}

// The agent's path ends in a backslash; none is added for one that does not.
std::wstring AgentEventFolder(const wchar_t* dataPath) {
  return std::wstring(dataPath) + L"AgentEvents";
}

const wchar_t* AgentFileExtension(std::uint32_t triggerFlag) noexcept {
  return triggerFlag != 0 ? L"txml" : L"xml";
}

}  // namespace varnel
