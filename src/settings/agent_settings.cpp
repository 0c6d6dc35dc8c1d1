#include "settings/agent_settings.h"

#include "base/registry.h"
#include "settings/registry_text.h"

#include <cwchar>
#include <iterator>

namespace varnel {
namespace {

constexpr std::uint16_t kAgentGuidCapacity = 500;
constexpr std::uint32_t kDefaultSizeLimit = 8'912'896;  // 8.5 MiB
constexpr std::uint32_t kDefaultThreshold = 5;
constexpr std::int32_t kTextZero = 48;  // L'0'

RegistryKey OpenFrameworkKey(REGSAM access) noexcept {
  return OpenRegistryKey(HKEY_LOCAL_MACHINE, kFrameworkKey, access);
}

// Returns a policy's value. The agent stores it either as a number or as a one-digit text: from 48 on, which
// is the digit 0, the value counts as a digit.
std::int32_t DigitOrNumber(std::uint32_t bytes) noexcept {
  const auto value = static_cast<std::int32_t>(bytes);
  return value >= kTextZero ? value - kTextZero : value;
}

}  // namespace

bool IsAgentManaged() noexcept {
  const RegistryKey key = OpenFrameworkKey(KEY_READ);
  return key && QueryFourBytes(key, L"AgentMode", 0).value_or(0) != 0;
}

std::uint32_t ReadEventSizeLimit() noexcept {
  const RegistryKey key = OpenFrameworkKey(KEY_READ);
  return key ? QueryFourBytes(key, L"Brenn Size", 0).value_or(kDefaultSizeLimit) : kDefaultSizeLimit;
}

bool EventSizeWithinLimit(std::uint64_t bytes) noexcept {
  return ReadEventSizeLimit() > bytes;
}

std::optional<std::int32_t> ReadEventTriggerThreshold() noexcept {
  const RegistryKey key = OpenFrameworkKey(KEY_READ);
  if (!key) return std::nullopt;
  const auto enabled = QueryFourBytes(key, L"AgPlcyEnableEventTrigger", 0);
  if (!enabled || DigitOrNumber(*enabled) == 0) return std::nullopt;
  const auto threshold = QueryFourBytes(key, L"AgPlcyEventTriggerThreshold", kDefaultThreshold);
  if (!threshold) return std::nullopt;
  return DigitOrNumber(*threshold);
}

std::int32_t ReadEventTriggerPolicy(std::int32_t severity, std::uint32_t* triggerOut) noexcept {
  const auto threshold = ReadEventTriggerThreshold();
  *triggerOut = threshold && severity >= *threshold ? 1 : 0;
  return 0;
}

std::wstring ReadAgentGuid() {
  wchar_t guid[kAgentGuidCapacity + 1] = {};
  if (!ReadRegistryString(guid, kAgentGuidCapacity, kFrameworkKey, L"AgentGUID"))
    return L"{00000000-0000-0000-0000-000000000000}";
  return guid;
}

std::wstring ReadAgentIPAddress() {
  wchar_t address[260] = {};
  const RegistryKey key = OpenFrameworkKey(KEY_QUERY_VALUE);
  if (!key) return {};
  DWORD size = sizeof(address);
  const LSTATUS status =
      RegQueryValueExW(key.Get(), L"IPAddress", nullptr, nullptr, reinterpret_cast<BYTE*>(address), &size);
  const bool terminated = std::wmemchr(address, L'\0', std::size(address)) != nullptr;
  if (status != ERROR_SUCCESS || !terminated || address[0] == L'N') return {};
  return address;
}

bool ReadDataPath(std::span<wchar_t> path) noexcept {
  return ReadWholeRegistryString(path, kFrameworkKey, L"Data Path");
}

bool ReadEventsPath(std::span<wchar_t> path) noexcept {
  return ReadWholeRegistryString(path, kEventParserKey, L"EventsPath");
}

bool ReadSelfProtectionClient(std::span<wchar_t> path) noexcept {
  path.back() = L'\0';
  const auto capacity = static_cast<std::uint16_t>(path.size() - 1);
  return ReadRegistryString(path.data(), capacity, kFrameworkKey, L"SelfProtectionClient");
}

}  // namespace varnel
