// What the agent has set for all reports: whether they are wanted at all, how large, and which are urgent.

#include "doctor_checks.h"
#include "registry_value.h"
#include "settings/agent_settings.h"

#include <initializer_list>

namespace varnel::tool {
namespace {

// The names of values that are there and do not count, because they are no numbers of 32 bits.
std::string NoNumbers(const RegistryKey& key, std::initializer_list<const wchar_t*> names) {
  std::string list;
  for (const wchar_t* const name : names)
    if (HasValue(key, name) && !QueryFourBytes(key, name, 0)) AddTo(list, ToUtf8(name));
  return list;
}

// The same, or a warning about values that do not count.
Check WithValues(Check check, const std::string& noNumbers) {
  if (noNumbers.empty()) return check;
  check.state = State::kWarning;
  check.found += "; no number, so it does not count: " + noNumbers;
  check.remedy = "Set a number of 32 bits (REG_DWORD), or remove the value.";
  return check;
}

Check CheckSizeLimit(const RegistryKey& framework) {
  constexpr std::uint32_t kLittle = 10'000;  // for the machine's facts and a few events
  const std::uint32_t limit = ReadEventSizeLimit();
  Check check{"size limit", State::kOk, "reports stay below " + std::to_string(limit) + " bytes", ""};
  if (limit < kLittle) {
    check.state = State::kWarning;
    check.found += ", and others are not saved";
    check.remedy = "Set \"Brenn Size\" to more bytes than a large report has, or remove it.";
  }
  return WithValues(std::move(check), NoNumbers(framework, {L"Brenn Size"}));
}

Check CheckTrigger(const RegistryKey& framework) {
  const auto threshold = ReadEventTriggerThreshold();
  const std::string found = threshold ? "files with an event of severity " + std::to_string(*threshold) +
                                            " or above last are .txml, at once"
                                      : "off: no file is .txml, forwarded at once";
  return WithValues({"trigger policy", State::kOk, found, ""},
                    NoNumbers(framework, {L"AgPlcyEnableEventTrigger", L"AgPlcyEventTriggerThreshold"}));
}

}  // namespace

Checks CheckAgent() {
  const RegistryKey framework = OpenRegistryKey(HKEY_LOCAL_MACHINE, kFrameworkKey, KEY_READ);
  if (!framework)
    return {{"agent", State::kFailure, "no agent has set anything below HKLM\\" + ToUtf8(kFrameworkKey),
             "Install the agent; where it is installed, let this account read that key."}};
  Checks checks = {{"agent", State::kOk, "its settings can be read", ""}};
  if (IsAgentManaged())
    checks.push_back({"managed", State::kOk, "the server manages the agent", ""});
  else
    checks.push_back({"managed", State::kFailure,
                      "no server manages the agent: nothing is written, and Save succeeds",
                      "Enrol the agent at the management server, which sets AgentMode."});
  checks.push_back(CheckSizeLimit(framework));
  checks.push_back(CheckTrigger(framework));
  return checks;
}

}  // namespace varnel::tool
