#pragma once

#include "logging/log_line.h"

namespace varnel {

// Logs a message formatted with the Microsoft C runtime's wide printf language: %s is wide text, %hs is
// narrow text. The message is cut to 4,096 bytes of ANSI text and the facility to 18; each line feed in the
// message starts another log line. `facility` and `format` are zero-terminated; null counts as "???". An
// argument that points to unreadable memory gives the line "??? bad message format". Any thread may log.
// Logging reports no failure, throws nothing and allocates only to look up an account or rotate a file. A
// message above the level costs two comparisons while the detail list is empty.
void LogMessage(std::int32_t level, const wchar_t* facility, const wchar_t* format, ...) noexcept;

template <class... Arguments>
void LogDetail(const wchar_t* facility, const wchar_t* format, Arguments... arguments) noexcept {
  LogMessage(kLevelDetail, facility, format, arguments...);
}

template <class... Arguments>
void LogInfo(const wchar_t* facility, const wchar_t* format, Arguments... arguments) noexcept {
  LogMessage(kLevelInfo, facility, format, arguments...);
}

template <class... Arguments>
void LogError(const wchar_t* facility, const wchar_t* format, Arguments... arguments) noexcept {
  LogMessage(kLevelError, facility, format, arguments...);
}

// The facilities of this library.
constexpr wchar_t kReportFacility[] = L"Quorvel";   // everything about a report
constexpr wchar_t kAdapterFacility[] = L"netif_w";  // the search for a network adapter

}  // namespace varnel
