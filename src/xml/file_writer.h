#pragma once

#include <cstdint>
#include <string>

namespace AdvXMLParser {

constexpr std::int32_t kUtf8Encoding = 4;  // the only encoding that is written

constexpr std::int32_t kSaved = 0;
constexpr std::int32_t kSaveFailed = -1;  // the last error text says why; empty: the transformation declined
constexpr std::int32_t kSaveRefused = -1216;  // the acceptance test said no

// Gets the UTF-8 bytes of the whole text, without a terminator. False keeps them from being written.
using AcceptTest = bool (*)(const std::string& utf8);
// May fill `output` with bytes that are written instead. False keeps anything from being written.
using Transformation = bool (*)(const std::string& utf8, std::string& output);

// Writes `text` (up to its first zero) as UTF-8 to the file at the full path `path`, which is created or cut
// to nothing first: no byte-order mark, no terminator. `transform` and `accept` may be null. Returns one of
// the statuses above. `detail` may be null; it is set to 0 on every return but the refusal. The file is
// touched only after conversion, acceptance and transformation have succeeded. A write that fails half-way
// leaves the file behind: removing it is the caller's duty.
// Takes no lock.
std::int32_t SaveToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                        std::uint32_t* detail, Transformation transform, AcceptTest accept);

// The same, with every negative status thrown as ReadWriteException.
void WriteToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                 Transformation transform, AcceptTest accept);

}  // namespace AdvXMLParser
