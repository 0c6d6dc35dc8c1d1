#pragma once

#include "logging/log_line.h"

namespace varnel {

// printf-style logging with the Microsoft C runtime's wide formats: %s is wide text, %hs narrow text. Lines
// are cut to 4,096 characters. Logging never fails its caller, throws nothing and uses next to no heap; any
// thread may log. A message that does not pass the settings costs a comparison. `facility` and `format` are
// zero-terminated; null counts as "???". An argument that is not what the format says gives the line "??? bad
// message format".
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
