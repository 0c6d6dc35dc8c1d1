#pragma once

namespace varnel {

// Error lines of a save, as formats for LogMessage. Shared with `varnel explain`, which predicts these log
// lines.

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
