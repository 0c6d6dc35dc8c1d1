#pragma once

namespace varnel {

// Error lines of a save, as formats of LogMessage. Here, so that who foretells a save tells the same words.

// The number of the object, the extension, the result.
inline constexpr wchar_t kSaveToFolderFailed[] = L"%x %s save to folder failed hr=%x";
// The system's last error.
inline constexpr wchar_t kNoDataFolder[] = L"Failed to get data folder. Error code =%d";
// The path, the reason.
inline constexpr wchar_t kAgentNotSaved[] = L"Failed to save event file %s. %s";
// The number of the object, the path.
inline constexpr wchar_t kServerNotCreated[] = L"%x couldn't create file %s";
// The number of the object, the path, the reason.
inline constexpr wchar_t kServerNotWritten[] = L"%x couldn't write to file %s:  %s";

// Reasons for a report that reaches the size limit.
inline constexpr wchar_t kAgentTooLarge[] = L"Event data too big ";
inline constexpr wchar_t kServerTooLarge[] = L"Event data is too large to be sent to Orba";

}  // namespace varnel
