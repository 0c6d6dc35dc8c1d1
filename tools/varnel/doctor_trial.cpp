// A report that is made to be seen and removed.

#include "base/files.h"
#include "doctor_checks.h"
#include "reporting.h"
#include "settings/disabled_event_list.h"
#include "settings/event_filter.h"

#include <unordered_set>

namespace varnel::tool {
namespace {

constexpr char kName[] = "trial report";

// What no other report holds.
std::string NewMark() {
  GUID guid{};
  wchar_t text[39];
  if (FAILED(CoCreateGuid(&guid)) || StringFromGUID2(guid, text, 39) == 0)
    throw Error("CoCreateGuid", E_FAIL);
  return ToUtf8(text);
}

// The first number from 1 on that the filter does not disable.
long EnabledEvent() {
  std::unordered_set<std::string> disabled;
  std::uint32_t size = 0;
  if (const auto content = ReadFilter(&size)) {
    DisabledEntries entries(content.get(), size);
    for (std::string_view entry; entries.Next(entry);) disabled.emplace(entry);
  }
  long id = 1;
  while (disabled.contains(std::to_string(id))) ++id;
  return id;
}

ReportText TrialReport(const std::string& softwareId, const std::string& mark) {
  ReportText report;
  report.softwareId = softwareId;
  report.name = "varnel doctor";
  report.version = VARNEL_VERSION;
  report.events.push_back({{"VarnelTrial", "", {{"Mark", mark}}, {}}, EnabledEvent(), 1, {}});
  return report;
}

// Removes the file if it holds the mark, and is still the one that was read.
bool RemoveIfOurs(const std::wstring& path, const std::string& mark) {
  constexpr DWORD kMost = 65'536;  // the trial is far smaller
  const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OPEN_REPARSE_POINT | kAnonymously, nullptr));
  std::string content(kMost, '\0');
  DWORD read = 0;
  const auto identity = file ? IdentifyFile(file.Get()) : std::nullopt;
  if (!identity || !ReadFile(file.Get(), content.data(), kMost, &read, nullptr)) return false;
  if (std::string_view(content).substr(0, read).find(mark) == std::string_view::npos) return false;
  DeleteFileIfStill(path.c_str(), *identity);
  return true;
}

Check Try(const std::string& softwareId) {
  const std::string mark = NewMark();
  for (const std::wstring& path : SaveReport(OpenLibrary(""), TrialReport(softwareId, mark))) {
    if (!RemoveIfOurs(path, mark)) continue;
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
      return {kName, State::kOk, "written to " + Printable(path) + ", and removed", ""};
    return {kName, State::kWarning, "written to " + Printable(path) + ", which could not be removed",
            "Remove that file."};
  }
  return {kName, State::kFailure, "Save succeeded, and no file was there afterwards",
          "See the check \"managed\"; where that is ok, an agent has taken the file within moments."};
}

}  // namespace

Checks TryReport(const std::string& softwareId) {
  if (IsSaveMutexHeld())
    return {{kName, State::kFailure, "not tried: it would wait for the save mutex, as every save does now",
             "See the check \"save mutex\"."}};
  try {
    return {Try(softwareId)};
  } catch (const Error& error) {
    const VarnelResultText text = DescribeResult(error.Code());
    return {{kName, State::kFailure, "not saved: " + ToUtf8(text.meaning), ToUtf8(text.remedy)}};
  }
}

}  // namespace varnel::tool
