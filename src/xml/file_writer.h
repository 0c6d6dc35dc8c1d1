#pragma once

#include "base/handles.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace AdvXMLParser {

constexpr std::int32_t kUtf8Encoding = 4;  // the only encoding supported

constexpr std::int32_t kSaved = 0;
constexpr std::int32_t kSaveFailed =
    -1;  // the error text says why; empty if the transformation returned false
constexpr std::int32_t kSaveRefused = -1216;  // the acceptance test returned false

// Receives the UTF-8 bytes of the whole text, without a terminator, before the transformation. If it returns
// false, nothing is written.
using AcceptTest = bool (*)(std::string_view utf8);
// Fills `output`, which is empty, with the bytes to write instead. If it returns false, nothing is written.
using Transformation = bool (*)(std::string_view utf8, std::string& output);

// Writes `text`, up to its first zero, as UTF-8 to the file at the full path `path`, which is created or
// truncated: no byte-order mark, no terminator. Returns one of the statuses above. `transform` and `accept`
// may be null, and so may `detail`, which is set to 0 unless the result is kSaveRefused. The file is touched
// only after conversion, acceptance and transformation have succeeded. If writing fails, the file remains,
// and the caller deletes it. Fails for an empty text, for a link and for a file with several hard links.
// Takes no lock.
// Not used by this DLL: part of the XML library.
std::int32_t SaveToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                        std::uint32_t* detail, Transformation transform, AcceptTest accept);

// Like SaveToFile, but throws ReadWriteException for a negative status.
// Not used by this DLL: part of the XML library.
void WriteToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                 Transformation transform, AcceptTest accept);

// The steps of SaveToFile, for callers that own the file. A step that fails sets the error text. The last
// three also set the thread's last error.

// Clears the error text and converts the text, up to its first zero, to UTF-8 as Windows does. Fails for an
// empty text. Returns kSaved or kSaveFailed.
std::int32_t ToUtf8(const std::wstring& text, std::string& utf8);
// Creates or truncates the file. Returns an empty owner on failure; fails with ERROR_ACCESS_DENIED for a link
// and for a file with several hard links.
[[nodiscard]] varnel::FileHandle OpenForText(const std::wstring& path) noexcept;
// Sets the error text as OpenForText does, for a file that the caller does not open; `error` is a Win32 error
// code.
void SetOpenError(DWORD error) noexcept;
// Writes the text at the file's position. Returns kSaved, or kSaveFailed also if only a part was written.
std::int32_t WriteText(const varnel::FileHandle& file, std::string_view utf8) noexcept;

}  // namespace AdvXMLParser
