#pragma once

#include "varnel/varnel.h"

#include <cstdint>
#include <string>

namespace varnel {

// The rules that decide on a report before its file is touched, besides the agent's settings. Apart from the
// event object, so that `varnel explain` can apply them without a report.

// Listing event 0 in the filter disables all reporting, so 0 is not a valid event identifier.
constexpr std::int32_t kWholeProduct = 0;
constexpr bool IsEventIdentifier(std::int32_t id) noexcept {
  return id != kWholeProduct;
}

// True if a call is refused, with VARNEL_E_NOT_MANAGED, because the agent is not managed at the moment. Only
// Initialize3 sets `refuseWhenUnmanaged`.
[[nodiscard]] bool RefusesCall(bool refuseWhenUnmanaged) noexcept;

constexpr wchar_t kServerSoftwareId[] = L"ORBASRVR_3500";
// True if reports of this software identifier are saved to the folder of the server's event parser: it equals
// kServerSoftwareId, letter case included.
[[nodiscard]] bool IsServerSoftwareId(const wchar_t* softwareId) noexcept;

// The ways of Save. The first rule that applies decides. A report is complete if CreateMachineElement and at
// least one event have succeeded.
enum class SaveWay {
  kRefused,     // see RefusesCall: Save writes nothing and fails
  kDropped,     // the agent is not managed: Save writes nothing and succeeds
  kIncomplete,  // Save writes nothing and fails with E_FAIL
  kToServer,
  kToAgent,
};
[[nodiscard]] SaveWay ChooseSaveWay(bool refuseWhenUnmanaged, bool isComplete,
                                    const wchar_t* softwareId) noexcept;

// Returns the agent's event folder, `dataPath` and "AgentEvents", without a trailing backslash. `dataPath` is
// that of ReadDataPath; a backslash that is missing at its end is not added.
[[nodiscard]] std::wstring AgentEventFolder(const wchar_t* dataPath);

// Returns the extension of the agent's event files, without a dot: "txml" if `triggerFlag`, that of
// ReadEventTriggerPolicy, is not 0, otherwise "xml".
[[nodiscard]] const wchar_t* AgentFileExtension(std::uint32_t triggerFlag) noexcept;

// The rules about the file of a report. A saver and the prediction apply the same list, up to the first rule
// that the report breaks.
enum class FileRule {
  kEncodes,   // the text converts to UTF-8
  kIsSmall,   // the bytes are below the size limit, see ReadEventSizeLimit
  kIsOpened,  // the file can be created or, in the agent folder, truncated
  kIsWritten,
};
struct FileStep {
  FileRule rule;
  HRESULT failure;  // the result of a save that breaks the rule
};
inline constexpr FileStep kServerFileSteps[] = {{FileRule::kIsOpened, VARNEL_E_NOT_WRITTEN},
                                                {FileRule::kEncodes, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN},
                                                {FileRule::kIsSmall, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN},
                                                {FileRule::kIsWritten, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN}};
inline constexpr FileStep kAgentFileSteps[] = {{FileRule::kEncodes, VARNEL_E_NOT_WRITTEN},
                                               {FileRule::kIsSmall, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN},
                                               {FileRule::kIsOpened, VARNEL_E_NOT_WRITTEN},
                                               {FileRule::kIsWritten, VARNEL_E_NOT_WRITTEN}};

// Error lines of a save, as formats for LogMessage.

// Object number, extension, result.
inline constexpr wchar_t kSaveToFolderFailed[] = L"%x %s save to folder failed hr=%x";
// Last error.
inline constexpr wchar_t kNoDataFolder[] = L"Failed to get data folder. Error code =%d";
// Path, reason.
inline constexpr wchar_t kAgentNotSaved[] = L"Failed to save event file %s. %s";
// Object number, path.
inline constexpr wchar_t kServerNotCreated[] = L"%x couldn't create file %s";
// Object number, path, reason.
inline constexpr wchar_t kServerNotWritten[] = L"%x couldn't write to file %s:  %s";

// Reasons for a report that is not below the size limit.
inline constexpr wchar_t kAgentTooLarge[] = L"Event data too big ";
inline constexpr wchar_t kServerTooLarge[] = L"Event data is too large to be sent to Orba";

}  // namespace varnel
