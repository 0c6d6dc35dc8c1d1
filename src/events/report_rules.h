#pragma once

#include <cstdint>
#include <string>

namespace varnel {

// What decides over a report before its file is touched, beside the agent's settings. Apart from the event
// object, so that the rules can be asked without making a report.

// The filter can switch off a product's reporting as a whole: it then lists event 0, which no event may be.
constexpr std::int32_t kWholeProduct = 0;
constexpr bool IsEventIdentifier(std::int32_t id) noexcept {
  return id != kWholeProduct;
}

// Whether a call is refused because the agent is not managed: only Initialize3 asks for that.
[[nodiscard]] bool RefusesCall(bool refuseWhenUnmanaged) noexcept;

constexpr wchar_t kServerSoftwareId[] = L"ORBASRVR_3500";
// Whether reports of the identifier go to the folder of the server's event parser. Zero-terminated.
[[nodiscard]] bool IsServerSoftwareId(const wchar_t* softwareId) noexcept;

// What Save does, by the rule that comes first.
enum class SaveWay {
  kRefused,  // see RefusesCall
  kDropped,  // the agent is not managed: nothing is written, and that is no failure
  kIncomplete,
  kToServer,
  kToAgent,
};
[[nodiscard]] SaveWay ChooseSaveWay(bool refuseWhenUnmanaged, bool isComplete,
                                    const wchar_t* softwareId) noexcept;

// The agent's event folder, without a trailing backslash.
[[nodiscard]] std::wstring AgentEventFolder(const wchar_t* dataPath);

// Of the agent's event files, without a dot; the flag is that of ReadEventTriggerPolicy.
[[nodiscard]] const wchar_t* AgentFileExtension(std::uint32_t triggerFlag) noexcept;

}  // namespace varnel
