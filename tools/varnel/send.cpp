// varnel send: a report from the command line or from JSON, through the real library.

#include "command.h"
#include "console.h"
#include "report_json.h"
#include "reporting.h"
#include "text.h"

#include <memory>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostInput = 64 * 1024 * 1024;

struct Options {
  ReportText report;
  EventText event = {{"Tried", "", {}, {}}, 1, 1, {}};
  std::vector<std::string> attributes;
  std::vector<std::string> children;
  std::string dll;
  int repeat = 1;
  bool fromInput = false;
  bool managedOnly = false;
};

// NAME=TEXT
std::pair<std::string, std::string> Split(const std::string& pair) {
  const std::size_t equals = pair.find('=');
  if (equals == std::string::npos || equals == 0) throw Failure(Printable(pair) + ": NAME=TEXT is wanted");
  return {pair.substr(0, equals), pair.substr(equals + 1)};
}

int Send(Options& options) {
  if (options.fromInput) {
    options.report = ParseReport(ReadInput(kMostInput));
  } else {
    for (const std::string& pair : options.attributes) options.event.attributes.push_back(Split(pair));
    for (const std::string& pair : options.children) {
      auto [name, text] = Split(pair);
      options.event.children.push_back({std::move(name), std::move(text), {}, {}});
    }
    options.report.events.push_back(std::move(options.event));
  }
  const ComScope com;
  TurnLogLinesToStandardError();
  const Library library = OpenLibrary(options.dll);
  const Unmanaged unmanaged = options.managedOnly ? Unmanaged::kRefuse : Unmanaged::kDrop;
  const std::vector<std::wstring> fresh = SaveReport(library, options.report, unmanaged, options.repeat);
  for (const std::wstring& path : fresh) Print(ToUtf8(path) + "\n");
  if (!fresh.empty()) return kDone;
  PrintError(
      "the library has accepted the report and written nothing: the agent on this machine is not managed");
  return kFound;
}

}  // namespace

void AddSend(CLI::App& app, Action& chosen) {
  const auto options = std::make_shared<Options>();
  CLI::App& command =
      *app.add_subcommand("send", "Reports an event through the real library and prints its file.");
  command.footer(
      "Example: varnel send --software EXAMPLE__1000 --event Tried --id 1 --severity 1 -a From=Console");
  command.add_flag("--json", options->fromInput,
                   "Read the whole report as JSON from standard input (docs/tool.md)");
  command.add_flag("--managed-only", options->managedOnly,
                   "Fail where the agent is not managed, as after Initialize3");
  const auto option = [&command](const char* name, auto& value, const char* meaning) {
    command.add_option(name, value, meaning)->capture_default_str();
  };
  option("--software", options->report.softwareId, "Software identifier");
  option("--name", options->report.name, "The product's name");
  option("--product-version", options->report.version, "Its version");
  option("--family", options->report.family, "Its family");
  option("--root", options->report.root, "Name of the document's root");
  option("--element", options->report.element, "Name of the product's element");
  option("--event", options->event.name, "Name of the event");
  option("--id", options->event.id, "Its identifier");
  option("--severity", options->event.severity, "Its severity");
  command.add_option("-a,--attribute", options->attributes, "NAME=TEXT, an attribute of the event");
  command.add_option("-c,--child", options->children, "NAME=TEXT, an element in the event");
  command.add_option("--repeat", options->repeat, "Saves that many reports of it")
      ->check(CLI::Range(1, 100'000));
  command.add_option("--dll", options->dll,
                     "Full path of varnel.dll; else the registered one, or that beside this program");
  command.callback([options, &chosen] { chosen = [options] { return Send(*options); }; });
}

}  // namespace varnel::tool
