#pragma once

#include "base/handles.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace AdvXMLParser {

constexpr std::int32_t kUtf8Encoding = 4;  // the only encoding that is written

constexpr std::int32_t kSaved = 0;
constexpr std::int32_t kSaveFailed = -1;  // the last error text says why; empty: the transformation declined
constexpr std::int32_t kSaveRefused = -1216;  // the acceptance test said no

// Gets the UTF-8 bytes of the whole text, without a terminator. False keeps them from being written.
using AcceptTest = bool (*)(std::string_view utf8);
// May fill `output` with bytes that are written instead. False keeps anything from being written.
using Transformation = bool (*)(std::string_view utf8, std::string& output);

// Writes `text` (up to its first zero) as UTF-8 to the file at the full path `path`, which is created or cut
// to nothing first: no byte-order mark, no terminator. `transform` and `accept` may be null. Returns one of
// the statuses above. `detail` may be null; it is set to 0 on every return but the refusal. The file is
// touched only after conversion, acceptance and transformation have succeeded. A write that fails half-way
// leaves the file behind: removing it is the caller's duty. A link is not followed, and a file that has
// several names is not touched. Takes no lock.
std::int32_t SaveToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                        std::uint32_t* detail, Transformation transform, AcceptTest accept);

// The same, with every negative status thrown as ReadWriteException.
void WriteToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                 Transformation transform, AcceptTest accept);

// The steps of SaveToFile, for callers that own the file. Each sets the last error text when it fails; the
// last three leave the system's number as the thread's last error, too.

// kSaved when `utf8` holds the bytes of the text (up to its first zero), else kSaveFailed.
std::int32_t ToUtf8(const std::wstring& text, std::string& utf8);
// Creates the file or cuts it to nothing. Empty on failure.
[[nodiscard]] varnel::FileHandle OpenForText(const std::wstring& path) noexcept;
// For what could not be opened: `error` is the system's number.
void SetOpenError(DWORD error) noexcept;
// kSaved or kSaveFailed.
std::int32_t WriteText(const varnel::FileHandle& file, std::string_view utf8) noexcept;

}  // namespace AdvXMLParser
