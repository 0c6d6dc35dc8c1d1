// varnel send: reports an event from the command line, or a report from JSON, with the real library.

#include "commands/commands.h"
#include "console/console.h"
#include "console/streams_windows.h"
#include "console/wide_text.h"
#include "report/report_json.h"
#include "report/reporting.h"

namespace varnel::tool {
namespace {

constexpr std::size_t kMostInput = 64 * 1024 * 1024;

// Splits NAME=TEXT. Throws Failure if there is no name.
std::pair<std::string, std::string> Split(const std::string& pair) {
  const std::size_t equals = pair.find('=');
  if (equals == std::string::npos || equals == 0) throw Failure(Printable(pair) + ": expected NAME=TEXT");
  return {pair.substr(0, equals), pair.substr(equals + 1)};
}

ReportText FromCommandLine(const SendOptions& options) {
  EventText event = options.event;
  for (const std::string& pair : options.attributes) event.attributes.push_back(Split(pair));
  for (const std::string& pair : options.children) {
    auto [name, text] = Split(pair);
    event.children.push_back({std::move(name), std::move(text), {}, {}});
  }
  ReportText report = options.report;
  report.events.push_back(std::move(event));
  return report;
}

Status Send(const SendOptions& options) {
  const ReportText report = options.fromInput ? ParseReport(ReadInput(kMostInput)) : FromCommandLine(options);
  const ComScope com;
  const LogLines lines;
  const Library library = OpenLibrary(options.dll);
  const Unmanaged unmanaged = options.managedOnly ? Unmanaged::kRefuse : Unmanaged::kDrop;
  const std::vector<std::wstring> fresh = SaveReport(library, report, unmanaged, options.repeat);
  for (const std::wstring& path : fresh) Print(Printable(path) + "\n");
  if (!fresh.empty()) return kDone;
  PrintError(
      "the library has accepted the report but written no file, because the agent on this machine is not "
      "managed");
  return kFound;
}

}  // namespace

Status RunSend(const SendOptions& options) {
  if (!options.returnResult) return Send(options);
  try {
    static_cast<void>(Send(options));
    return kDone;
  } catch (const Error& error) {
    return static_cast<Status>(error.Code());
  }
}

Status RunLoad(const std::string& dll) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  const ComScope com;
  Library library;
  const HRESULT opened = library.TryOpenFile(ToWide(dll).c_str());
  return static_cast<Status>(FAILED(opened) ? opened : TryObject(library));
}

}  // namespace varnel::tool
