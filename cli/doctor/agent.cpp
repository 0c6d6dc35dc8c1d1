// Rows about the agent's settings for all reports: managed, size limit, trigger policy, identity.

#include "console/wide_text.h"
#include "doctor/checks.h"
#include "machine/registry_value.h"
#include "settings/agent_settings.h"

#include <windows.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cwctype>

namespace varnel::tool {
namespace {

constexpr char kSetNumber[] = " as REG_DWORD, or remove it.";

// Returns a text like: "Brenn Size" is REG_SZ "5"
std::string Stated(const wchar_t* name, const RegistryValue& value) {
  return "\"" + ToUtf8(name) + "\" is " + Described(value);
}

// True if the value is a valid policy: a number or a text of one digit. A number from 48 on is taken for such
// a text.
bool IsPolicy(const RegistryKey& key, const wchar_t* name, const RegistryValue& value) {
  if (value.IsNumber()) return QueryFourBytes(key, name, 0).value_or(0) < L'0';
  const std::wstring text = value.Text();
  return value.type == REG_SZ && text.size() == 1 && text[0] >= L'0' && text[0] <= L'9';
}

// True if the policy is off, as a number or as a text.
bool IsOff(std::uint32_t policy) {
  return policy == 0 || policy == L'0';
}

// Adds a fault in the value's type or form to the row.
void AddForm(Row& row, const RegistryKey& key, const wchar_t* name, bool isPolicy) {
  const auto value = ReadValue(key, name);
  if (!value || (isPolicy ? IsPolicy(key, name, *value) : value->IsNumber())) return;
  const auto number = QueryFourBytes(key, name, 0);
  row.state = std::max(row.state, State::kWarning);
  row.found += "; " + Stated(name, *value) +
               (!number    ? ", which is ignored"
                : isPolicy ? ", neither a number below 48 nor one digit"
                           : ", which is read as " + std::to_string(*number));
  if (row.remedy.empty()) row.remedy = "Set \"" + ToUtf8(name) + "\"" + kSetNumber;
}

Row CheckManaged(const RegistryKey& key) {
  constexpr char kName[] = "managed";
  constexpr char kEffect[] = ", so the agent counts as not managed: nothing is written, and Save succeeds";
  constexpr char kRemedy[] = "Enrol the agent at the management server, which sets AgentMode to 1.";
  const auto value = ReadValue(key, L"AgentMode");
  if (!value) return {kName, State::kFailure, std::string("AgentMode is not set") + kEffect, kRemedy};
  const std::string stated = "AgentMode is " + Described(*value);
  if (!IsAgentManaged())
    return {kName, State::kFailure, stated + kEffect,
            value->IsNumber() ? kRemedy : "Set AgentMode as REG_DWORD 1; enrolling the agent does that."};
  if (!value->IsNumber())
    return {kName, State::kWarning, stated + ", which counts as managed: only the number 0 means not managed",
            "Set AgentMode as REG_DWORD: 1 for managed, 0 for not managed."};
  return {kName, State::kOk, "the server manages the agent", ""};
}

Row CheckSizeLimit(const RegistryKey& key) {
  constexpr std::uint32_t kSmallest = 500;      // about the size of a report with one event
  constexpr std::uint32_t kLittle = 10'000;     // enough for machine facts and a few events
  constexpr std::uint32_t kMuch = 268'435'456;  // the limit of readers of event files
  const std::uint32_t limit = ReadEventSizeLimit();
  Row row{"size limit", State::kOk, "reports stay below " + std::to_string(limit) + " bytes", ""};
  if (limit <= kSmallest) {
    row = {row.name, State::kFailure,
           "reports must stay below " + std::to_string(limit) +
               " bytes, which is smaller than any report: no report is saved",
           "Set \"Brenn Size\" to 8912896, or remove it."};
  } else if (limit < kLittle) {
    row = {row.name, State::kWarning, row.found + "; larger reports are not saved",
           "Set \"Brenn Size\" to more bytes than the largest report has, or remove it."};
  } else if (limit > kMuch) {
    row = {row.name, State::kWarning, row.found + "; readers take files up to 268435456 bytes",
           "Set \"Brenn Size\" to at most 268435456, or remove it."};
  }
  AddForm(row, key, L"Brenn Size", false);
  return row;
}

Row CheckTrigger(const RegistryKey& key) {
  constexpr wchar_t kEnable[] = L"AgPlcyEnableEventTrigger";
  constexpr wchar_t kThreshold[] = L"AgPlcyEventTriggerThreshold";
  const auto threshold = ReadEventTriggerThreshold();
  Row row{"trigger policy", State::kOk,
          threshold ? "files with an event of severity " + std::to_string(*threshold) +
                          " or above last are .txml: the agent forwards them at once"
                    : "off: no file is .txml, which the agent forwards at once",
          ""};
  const auto enable = ReadValue(key, kEnable);
  if (!threshold && enable && IsPolicy(key, kEnable, *enable) && !ReadValue(key, kThreshold) &&
      !IsOff(QueryFourBytes(key, kEnable, 0).value_or(0)))
    row = {row.name, State::kWarning,
           "off: AgPlcyEnableEventTrigger is on, but AgPlcyEventTriggerThreshold is not set",
           "Set AgPlcyEventTriggerThreshold to the lowest severity of trigger events."};
  AddForm(row, key, kEnable, true);
  AddForm(row, key, kThreshold, true);
  return row;
}

bool IsGuid(const std::wstring& text) {
  constexpr std::wstring_view kForm = L"{00000000-0000-0000-0000-000000000000}";
  return text.size() == kForm.size() &&
         std::equal(text.begin(), text.end(), kForm.begin(), [](wchar_t unit, wchar_t form) {
           return form == L'0' ? std::iswxdigit(unit) : unit == form;
         });
}

// Checks AgentGUID, which every report has.
Row CheckIdentity(const RegistryKey& key) {
  constexpr char kName[] = "agent identity";
  constexpr char kRemedy[] = "Repair or enrol the agent, which sets AgentGUID.";
  const auto value = ReadValue(key, L"AgentGUID");
  if (!value)
    return {kName, State::kWarning,
            "AgentGUID is not set: reports have zeros, and the server cannot tell this machine from others",
            kRemedy};
  const std::wstring guid = ReadAgentGuid();
  if (value->type != REG_SZ || !IsGuid(guid))
    return {
        kName, State::kWarning,
        "AgentGUID is " + Described(*value) +
            ", which is not of the form {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}: reports have it unchanged",
        kRemedy};
  if (guid.find_first_not_of(L"{}-0") == guid.npos)
    return {kName, State::kWarning, "AgentGUID is all zeros: the server cannot tell this machine from others",
            kRemedy};
  return {kName, State::kOk, ToUtf8(guid), ""};
}

// True for an IPv4 or IPv6 address. Looks up no name.
bool IsAddress(const std::wstring& text) {
  IN6_ADDR address;
  return InetPtonW(AF_INET, text.c_str(), &address) == 1 || InetPtonW(AF_INET6, text.c_str(), &address) == 1;
}

Row CheckAddress(const RegistryKey& key) {
  constexpr char kName[] = "agent address";
  const auto value = ReadValue(key, L"IPAddress");
  const std::wstring address = ReadAgentIPAddress();
  if (address.empty())
    return {kName, State::kOk, "not set: reports have the address of the computer's name", ""};
  if (value->type == REG_SZ && IsAddress(address)) return {kName, State::kOk, ToUtf8(address), ""};
  return {kName, State::kWarning,
          "IPAddress is " + Described(*value) + ", not an address: reports have it unchanged",
          "Correct IPAddress, or remove it: reports then have the address of the computer's name."};
}

}  // namespace

Rows CheckAgent() {
  RegistryKey key;
  const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kFrameworkKey, 0, KEY_READ, key.Put());
  const std::string name = "HKLM\\" + ToUtf8(kFrameworkKey);
  if (error == ERROR_FILE_NOT_FOUND)
    return {{"agent", State::kFailure, "not installed: missing key " + name,
             "Install the agent. Without an agent nothing is saved."}};
  if (error != ERROR_SUCCESS)
    return {{"agent", State::kFailure,
             "this account may not read " + name + " (error " + std::to_string(error) + ")",
             "Give the account of the reporting product the right to read this key."}};
  return {{"agent", State::kOk, "installed; its settings can be read", ""},
          CheckManaged(key),
          CheckIdentity(key),
          CheckAddress(key),
          CheckSizeLimit(key),
          CheckTrigger(key)};
}

}  // namespace varnel::tool
