#pragma once

#include <string_view>

namespace varnel::bench {

struct Item {
  std::wstring_view name;
  std::wstring_view text;
};

// The texts of a typical event. The first three are the library's own.
constexpr std::wstring_view kEventName = L"ThreatDetected";
constexpr Item kAttributes[] = {{L"Category", L"malware & unwanted programs"}, {L"Source", L"file watcher"}};
constexpr Item kTexts[] = {
    {L"EventID", L"1095"},
    {L"Severity", L"3"},
    {L"GMTTime", L"2024-03-07T12:00:00"},
    {L"ThreatName", L"Trojan:Win32/Zagreb.Č"},
    {L"FilePath", L"C:\\Users\\jürgen\\Downloads\\<setup> & more\\install.exe"},
    {L"FileHash", L"9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08"},
    {L"ProcessName", L"C:\\Program Files\\Mozilla Firefox\\firefox.exe"},
    {L"TargetUser", L"EXAMPLE\\jürgen"},
};
constexpr std::size_t kOwnTexts = 3;

}  // namespace varnel::bench
