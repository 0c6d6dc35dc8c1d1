// Which events the agent's filter file keeps out.

#include "dll_file.h"
#include "doctor_checks.h"
#include "event_forms.h"
#include "events/report_rules.h"
#include "registry_value.h"
#include "settings/disabled_event_list.h"
#include "settings/event_filter.h"

namespace varnel::tool {
namespace {

constexpr char kName[] = "event filter";

// A list of any length, in a line.
struct List {
  static constexpr std::size_t kMost = 20;
  std::string text;
  std::size_t count = 0;

  void Add(std::string_view item) {
    if (++count <= kMost) AddTo(text, std::string(item));
  }
  std::string Shown() const {
    return count > kMost ? text + " and " + std::to_string(count - kMost) + " more" : text;
  }
};

Check CheckEntries(const std::string& file, const char* content, std::uint32_t size) {
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
    return {kName, State::kFailure, found + ", with 0 every product's reporting",
            "Take 0 out of DisabledEvent in that file."};
  if (useless.count == 0) return {kName, State::kOk, found, ""};
  return {
      kName, State::kWarning, found + "; matches no event: " + useless.Shown(),
      "Write DisabledEvent=1001;1002; with a \";\" behind each number, and without blanks and line ends."};
}

}  // namespace

Checks CheckFilter() {
  wchar_t path[kFilterPathCapacity] = {};
  const std::size_t length = BuildFilterPath(path);
  if (length == 0) return {{kName, State::kOk, "none: \"Data Path\" does not tell where", ""}};
  const std::string file = Printable(path);
  if (!IsFile(path)) return {{kName, State::kOk, file + " is not there, so nothing is disabled", ""}};
  std::uint32_t size = 0;
  const auto content = ReadFilter(path, length, &size);
  WIN32_FILE_ATTRIBUTE_DATA facts{};
  GetFileAttributesExW(path, GetFileExInfoStandard, &facts);
  if (content) return {CheckEntries(file, content.get(), size)};
  if (facts.nFileSizeLow == 0 && facts.nFileSizeHigh == 0)
    return {{kName, State::kOk, file + " is empty, so nothing is disabled", ""}};
  return {{kName, State::kWarning, file + " cannot be read, so nothing is disabled",
           "Let this account read it, and end the program that keeps it open for writing."}};
}

}  // namespace varnel::tool
