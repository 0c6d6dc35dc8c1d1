// The row about the trial report, which a separate process saves and which is then removed.

#include "base/files.h"
#include "doctor/checks.h"
#include "machine/self_process.h"
#include "report/reporting.h"
#include "report/result_words.h"
#include "settings/disabled_event_list.h"
#include "settings/event_filter.h"

#include <optional>
#include <unordered_set>

namespace varnel::tool {
namespace {

constexpr char kName[] = "trial report";

// Returns a text that no other report has.
std::string NewMark() {
  GUID guid{};
  wchar_t text[39];
  if (FAILED(CoCreateGuid(&guid)) || StringFromGUID2(guid, text, 39) == 0)
    throw Error("CoCreateGuid", E_FAIL);
  return ToUtf8(text);
}

// Returns the first event identifier from 1 on that the filter does not disable.
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

// Saves the trial report in a separate process. Returns nothing if that did not end in time.
std::optional<DWORD> Save(const TrialRequest& request, const std::string& mark) {
  std::vector<std::string> arguments = {"send",
                                        "--return-result",
                                        "--software=" + request.softwareId,
                                        "--name=varnel doctor",
                                        "--product-version=" VARNEL_VERSION,
                                        "--event=VarnelTrial",
                                        "--id=" + std::to_string(EnabledEvent()),
                                        "--attribute=Mark=" + mark};
  if (!request.dll.empty()) arguments.push_back("--dll=" + request.dll);
  return RunThisProgram(arguments, request.seconds);
}

// Removes the file if it has the mark and its path still leads to the file that was read.
bool RemoveIfOurs(const std::wstring& path, const std::string& mark) {
  constexpr DWORD kMost = 65'536;  // the trial report is far smaller
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

// Returns the row for a failed save on this machine.
Row Failed(const TrialRequest& request, HRESULT result) {
  const ResultWords words = WordsOf(result);
  const std::string code = words.code + (words.name.empty() ? "" : " " + words.name);
  if (!request.dll.empty() || result != REGDB_E_CLASSNOTREG)
    return {kName, State::kFailure, "not saved: " + words.meaning + " (" + code + ")", words.remedy};
  return {kName, State::kFailure,
          "not saved: the class is not registered (products get this result too: " + code + ")",
          "Install the package, or run regsvr32 on the 64-bit varnel.dll; or try one without registration "
          "with --dll."};
}

Row Try(const TrialRequest& request) {
  const std::string mark = NewMark();
  const EventFolder folder = FolderOf(ToWide(request.softwareId));
  const std::vector<FolderFile> before = FilesOf(folder);
  const auto result = Save(request, mark);
  const std::string by = request.dll.empty() ? "" : " by " + Printable(request.dll) + ", chosen by --dll";
  for (const std::wstring& path : NewFiles(folder, before)) {
    if (!RemoveIfOurs(path, mark)) continue;
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES)
      return {kName, State::kOk, "written to " + Printable(path) + by + ", and removed", ""};
    return {kName, State::kWarning, "written to " + Printable(path) + by + ", which could not be removed",
            "Remove that file."};
  }
  if (!result)
    return {kName, State::kFailure,
            "not saved within " + Counted(static_cast<std::uint64_t>(request.seconds), "second") +
                ", and then ended",
            "See the rows above: a save waits for the save mutex, the self-protection service and the disk."};
  if (FAILED(static_cast<HRESULT>(*result))) return Failed(request, static_cast<HRESULT>(*result));
  return {kName, State::kFailure, "Save succeeded, but there was no file afterwards",
          "See the row \"managed\". If it is ok, the agent may already have collected the file."};
}

}  // namespace

Rows TryReport(const TrialRequest& request) {
  if (request.isSaveMutexHeld)
    return {{kName, State::kFailure, "not tried: it would wait for the save mutex, as every save does now",
             "See the row \"save mutex\"."}};
  if (request.dll.empty() && !IsRegisteredDllSafe())
    return {{kName, State::kFailure, "not tried: the registered DLL is not loaded here",
             "See the row \"64-bit class\", or try another varnel.dll with --dll."}};
  return {Try(request)};
}

}  // namespace varnel::tool
