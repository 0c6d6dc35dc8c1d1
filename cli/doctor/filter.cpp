// Rows about the event filter: the events that it disables, and its faults.

#include "doctor/checks.h"
#include "eventfile/event_forms.h"
#include "eventfile/files.h"
#include "events/report_rules.h"
#include "machine/registry_value.h"
#include "settings/disabled_event_list.h"
#include "settings/event_filter.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>

namespace varnel::tool {
namespace {

constexpr char kName[] = "event filter";
constexpr std::string_view kListName = "DisabledEvent";
constexpr char kForm[] =
    "Write DisabledEvent=1001;1002; with a \";\" after each number, and without blanks and line ends.";

// A list of any length, shown in one line.
struct List {
  static constexpr std::size_t kMost = 20;
  std::string text;
  std::size_t count = 0;

  void Add(std::string_view item) {
    if (++count <= kMost) AddTo(text, item);
  }
  std::string Shown() const {
    return count > kMost ? text + " and " + std::to_string(count - kMost) + " more" : text;
  }
};

Row Warning(std::string found, std::string remedy) {
  return {kName, State::kWarning, std::move(found), std::move(remedy)};
}

// Returns the name of the list as written with other letter case; an empty text if there is none.
std::string_view SimilarName(std::string_view content) {
  const auto same = [](char one, char other) { return (one | 0x20) == (other | 0x20); };
  const auto at = std::search(content.begin(), content.end(), kListName.begin(), kListName.end(), same);
  return content.substr(static_cast<std::size_t>(at - content.begin()), kListName.size());
}

// Returns the row for a filter in which the library finds no list.
Row CheckWithoutList(const std::string& file, std::string_view content) {
  if (content.find('\0') != content.npos)
    return Warning(file + " is not an ANSI or UTF-8 text (UTF-16?), so nothing is disabled",
                   "Save it as ANSI or UTF-8.");
  if (const std::string_view similar = SimilarName(content); !similar.empty())
    return Warning(file + " has " + Printable(similar) + " instead of DisabledEvent, so nothing is disabled",
                   "Write DisabledEvent with exactly these capital and small letters.");
  if (content.find_first_of("0123456789") != content.npos)
    return Warning(file + " has no DisabledEvent, so nothing is disabled", kForm);
  return {kName, State::kOk, file + " disables nothing", ""};
}

Row CheckEntries(const std::string& file, const char* content, std::uint32_t size) {
  const std::string_view text = content;  // up to the first zero, as the library searches it
  const std::size_t list = text.find(kListName);
  if (list == text.npos) return CheckWithoutList(file, {content, size});
  DisabledEntries entries(content, size);
  List disabled;
  List useless;
  for (std::string_view entry; entries.Next(entry);) {
    if (IsNumber(entry))
      disabled.Add(entry);
    else if (entry.find_first_not_of(" \t\r\n") != std::string_view::npos)
      useless.Add("\"" + Printable(entry) + "\"");
  }
  const std::string found =
      disabled.count == 0 ? file + " disables nothing" : file + " disables " + disabled.Shown();
  if (ListsAsDisabled(content, size, kWholeProduct))
    return {kName, State::kFailure, found + "; 0 disables all reporting",
            "Remove 0 from DisabledEvent in this file."};
  if (text.find(kListName, list + 1) != text.npos)
    return Warning(found + "; it has several DisabledEvent, of which only the first is read",
                   "Write all numbers after the first one.");
  if (text.substr(list + kListName.size()).starts_with("=-"))
    return Warning(found + "; the minus sign of the first number is ignored",
                   "Put another number first: DisabledEvent=1;-3;.");
  if (useless.count != 0) return Warning(found + "; these entries match no event: " + useless.Shown(), kForm);
  return {kName, State::kOk, found, ""};
}

// True if the path cannot be expressed in the ANSI code page, with which the library opens the filter.
bool IsOutsideCodePage(const wchar_t* path) {
  BOOL replaced = FALSE;
  char narrow[kFilterPathCapacity * 2];
  return WideCharToMultiByte(CP_THREAD_ACP, WC_NO_BEST_FIT_CHARS, path, -1, narrow, sizeof(narrow), nullptr,
                             &replaced) == 0 ||
         replaced;
}

// Returns another file of the folder whose name begins like the filter's, such as EvtFiltr.ini.txt.
std::string SimilarFile(const wchar_t* path) {
  const std::wstring_view whole = path;
  const std::size_t name = whole.find_last_of(L'\\') + 1;
  const std::wstring_view start = whole.substr(name, whole.find_last_of(L'.') - 2 - name);
  for (const FolderFile& file : ListFolder(NativePath(whole.substr(0, name))).files)
    if (_wcsnicmp(file.name.c_str(), start.data(), start.size()) == 0) return Printable(file.name);
  return {};
}

Row CheckMissing(const std::string& file, const wchar_t* path, DWORD error) {
  if (error == ERROR_ACCESS_DENIED)
    return Warning(file + " is hidden from this account, so nothing is disabled for it",
                   "Give the account of the reporting product the right to read the folder and the file.");
  if (const std::string similar = SimilarFile(path); !similar.empty())
    return Warning(file + " does not exist, so nothing is disabled; there is " + similar,
                   "Rename that file to EvtFiltr.ini if it is meant to be the filter.");
  return {kName, State::kOk, file + " does not exist, so nothing is disabled", ""};
}

// Returns the row for a filter that exists but cannot be read by the library.
Row CheckUnreadable(const std::string& file, const wchar_t* path, const WIN32_FILE_ATTRIBUTE_DATA& facts) {
  if ((facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    return Warning(file + " is a folder, so nothing is disabled",
                   "Remove that folder, and write the filter as a file.");
  if (facts.nFileSizeLow == 0 && facts.nFileSizeHigh == 0)
    return {kName, State::kOk, file + " is empty, so nothing is disabled", ""};
  if (IsOutsideCodePage(path))
    return Warning(file + " cannot be opened: its path has characters that are not in the ANSI code page",
                   "Choose a \"Data Path\" without these characters.");
  return Warning(file + " cannot be read, so nothing is disabled",
                 "Give this account the right to read it, and end the program that has it open for writing.");
}

}  // namespace

Rows CheckFilter() {
  wchar_t path[kFilterPathCapacity] = {};
  const std::size_t length = BuildFilterPath(path);
  if (length == 0) return {{kName, State::kOk, "none: \"Data Path\" is not set, or too long", ""}};
  const std::string file = Printable(path);
  WIN32_FILE_ATTRIBUTE_DATA facts{};
  if (!GetFileAttributesExW(path, GetFileExInfoStandard, &facts))
    return {CheckMissing(file, path, GetLastError())};
  std::uint32_t size = 0;
  const auto content = ReadFilter(path, length, &size);
  return {content ? CheckEntries(file, content.get(), size) : CheckUnreadable(file, path, facts)};
}

}  // namespace varnel::tool
