#include "command_line_options.h"

#include <CLI/CLI.hpp>

namespace varnel::tool {
namespace {

constexpr char kFiles[] = "Commands for event files, on every system";

// Adds the options that select events. The command calls a Selection's constructor with these terms.
void AddSelection(CLI::App& command, SelectionTerms& terms) {
  const auto option = [&command](const char* name, std::vector<std::string>& values, const char* form,
                                 const char* meaning) {
    command.add_option(name, values, meaning)->type_name(form)->allow_extra_args(false)->group("Selection");
  };
  option("--since", terms.since, "TIME",
         "Events from this time on: 2026-11-22, 2026-11-22T10:00 (GMT), or 2h ago, today, yesterday");
  option("--until", terms.until, "TIME", "Events before this time");
  option("--severity", terms.severity, "RANGE", "Events of this severity: 3, 3.., ..5 or 2..4");
  option("--id", terms.id, "RANGE", "Events with this identifier");
  option("--event", terms.event, "TEXT", "Events of this name; * is any text, in each of these options");
  option("--product", terms.product, "TEXT", "Events of the product of this name");
  option("--host", terms.host, "TEXT", "Events of the machine of this name");
  option("--where", terms.where, "NAME=TEXT",
         "Events with this attribute or child: a label of show --json, or the last part of its name");
}

void AddLast(CLI::App& command, std::vector<std::uint32_t>& last) {
  command.add_option("--last", last, "Only the last N of these events, by time")
      ->type_name("N")
      ->allow_extra_args(false)
      ->check(CLI::Range(std::uint32_t{1}, UINT32_MAX).description(""))
      ->group("Selection");
}

// The ways in which varnel show prints events.
void AddForms(CLI::App& command, ShowOptions& options) {
  const auto flag = [&command](const char* name, bool& value, const char* meaning) {
    return command.add_flag(name, value, meaning);
  };
  CLI::Option* const tree = flag("--tree", options.tree, "Show all elements of the files");
  CLI::Option* const json =
      flag("--json", options.json,
           "Print a JSON object for each event, with the field names of the Elastic Common Schema")
          ->excludes(tree);
  CLI::Option* const page =
      command
          .add_option("--html", options.page, "Write an HTML page with plot, table and details to this file")
          ->excludes(tree)
          ->excludes(json);
  flag("--csv", options.csv, "Print the list, or the table of --top, as CSV")
      ->excludes(tree)
      ->excludes(json)
      ->excludes(page);
  CLI::Option* const follow =
      flag("--follow", options.follow, "Continue with new files as they appear, until Ctrl+C")
          ->excludes(page);
  CLI::Option* const count = flag("--count", options.count, "Print the number of events")
                                 ->excludes(tree)
                                 ->excludes(json)
                                 ->excludes(page)
                                 ->excludes("--csv")
                                 ->excludes(follow);
  command
      .add_option("--top", options.top,
                  "Print how many events have each product, host, event, severity or id, or each value of an "
                  "attribute or child")
      ->type_name("NAME")
      ->excludes(tree)
      ->excludes(json)
      ->excludes(page)
      ->excludes(count)
      ->excludes(follow);
  AddLast(command, options.last);
  flag("--reverse", options.reverse, "The newest events first")->group("Selection");
}

void AddShow(CLI::App& app, Chosen& chosen) {
  ShowOptions& options = chosen.show;
  CLI::App& command = *app.add_subcommand("show", "Shows the events in event files, one per line.");
  command.group(kFiles);
  command.footer(
      "Examples: varnel show --json --follow C:\\Agent\\AgentEvents\n"
      "          varnel show --since 2h --severity 3.. --where File=*.exe");
  command.add_option("path", options.paths,
                     "Files, wildcards like *.xml, or folders with files; by default, on Windows only, the "
                     "agent's and the server's event folder");
  AddForms(command, options);
  command
      .add_flag("--empty", options.empty,
                "Write the page without events; it shows the event files that are dropped on it")
      ->needs("--html")
      ->excludes("path");
  AddSelection(command, options.terms);
  command.add_option("--catalogue", options.catalogue,
                     "Explain events, except in JSON, with this catalogue (docs/catalogue.md)");
  command
      .add_option("--state", options.state,
                  "Remember in this file what --follow has shown, so that the next one continues there")
      ->needs("--follow");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunShow(chosen.show); }; });
}

void AddCompare(CLI::App& app, Chosen& chosen) {
  CompareOptions& options = chosen.compare;
  CLI::App& command = *app.add_subcommand(
      "compare", "Compares the events of two machines or times: which occur in one only, or more often.");
  command.group(kFiles);
  command.footer(
      "Example: varnel compare D:\\good D:\\bad --since 2026-11-22\n"
      "Returns 0 if nothing differs, 1 if something does.");
  command.add_option("one", options.one, "A file, a wildcard like *.xml, or a folder with files")->required();
  command.add_option("other", options.other, "What to compare it with")->required();
  AddSelection(command, options.terms);
  command.callback([&chosen] { chosen.run = [&chosen] { return RunCompare(chosen.compare); }; });
}

void AddCollect(CLI::App& app, Chosen& chosen) {
  CollectOptions& options = chosen.collect;
  CLI::App& command = *app.add_subcommand(
      "collect", "Takes event files as they appear into closed files of JSON lines, for a shipper.");
  command.group(kFiles);
  command.footer(
      "Example: varnel collect C:\\Agent\\AgentEvents --to C:\\Segments\n"
      "Runs until Ctrl+C; the next start goes on where it ended. With --once, returns 1 if a file was passed "
      "over, "
      "2 if something could not be read or written.");
  command.add_option(
      "folder", options.folders,
      "Folders with event files; by default, on Windows only, the agent's and the server's event "
      "folder");
  command.add_option("--to", options.to, "The folder for the segments, their receipts and the position")
      ->required();
  const std::uint64_t most = std::uint64_t{1} << 50;
  command.add_option("--segment", options.segmentBytes, "Close a segment at this size, 16MB by default")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(std::uint64_t{1}, most));
  command.add_option("--every", options.everyMilliseconds, "Close a segment at this age, 60s by default")
      ->transform(CLI::AsNumberWithUnit(
          std::map<std::string, std::uint64_t>{{"ms", 1}, {"s", 1'000}, {"min", 60'000}, {"h", 3'600'000}}))
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{86'400'000}));
  command
      .add_option("--max-disk", options.diskBytes,
                  "Take no more event files while the segments in the folder have this size, 1GB by default")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::Range(std::uint64_t{1}, most));
  command.add_flag("--once", options.once, "Take what is there, close the segment and end");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunCollect(chosen.collect); }; });
}

void AddReconcile(CLI::App& app, Chosen& chosen) {
  ReconcileOptions& options = chosen.reconcile;
  CLI::App& command = *app.add_subcommand(
      "reconcile",
      "Compares the events that varnel collect has handed over with those that arrived at the other end.");
  command.group(kFiles);
  command.footer(
      "Example: kcat -C -b kafka-1 -t varnel-events -e -q | varnel reconcile segments/shipped --against -\n"
      "Returns 0 if everything has arrived, 1 if events are missing or changed.");
  command.add_option("receipts", options.receipts, "Receipts of segments, or folders with receipts")
      ->required();
  command
      .add_option("--against", options.against, "JSON lines of a consumer: a file, or - for standard input")
      ->required();
  command.add_flag("--ids-only", options.idsOnly,
                   "Compare event.id only, because a shipper or consumer has rewritten the lines");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunReconcile(chosen.reconcile); }; });
}

void AddCheck(CLI::App& app, Chosen& chosen) {
  CLI::App& command =
      *app.add_subcommand("check", "Checks event files against the rules of docs/event-format.md.");
  command.group(kFiles);
  command.footer("Example: varnel check C:\\Agent\\AgentEvents");
  command.add_option("path", chosen.check.paths, "Files, or folders with files")->required();
  command.add_option("--catalogue", chosen.check.catalogue,
                     "Also check against this catalogue of the product (docs/catalogue.md)");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunCheck(chosen.check); }; });
}

void AddBundle(CLI::App& app, Chosen& chosen) {
  BundleOptions& options = chosen.bundle;
  CLI::App& command = *app.add_subcommand(
      "bundle", "Puts event files, logs and what is known of this machine into a zip for support.");
  command.group(kFiles);
  command.footer(
      "Example: varnel bundle --to support.zip --redact --catalogue acme.toml C:\\Agent\\AgentEvents\n"
      "Returns 0 if every file is in it, 1 if a file is damaged or left out, 2 if a file cannot be read.");
  command.add_option("--to", options.to, "The zip to write; it must not exist")->required();
  command.add_option(
      "path", options.paths,
      "Event files, or folders with event files; by default, on Windows only, the agent's and the "
      "server's event folder");
  command.add_option("--log", options.logs, "A log to put into it; may be repeated")->allow_extra_args(false);
  command.add_flag("--files-only", options.withoutMachine,
                   "Leave out the rows of varnel doctor and the settings of this machine");
  CLI::Option* const redact = command.add_flag(
      "--redact", options.redact,
      "Replace names, addresses, users' paths, and values that a catalogue marks (docs/sharing.md)");
  command.add_option("--catalogue", options.catalogues, "A catalogue of the events; may be repeated")
      ->needs(redact)
      ->allow_extra_args(false);
  command.add_flag("--free-text", options.freeText, "Keep texts that no catalogue declares")->needs(redact);
  AddSelection(command, options.terms);
  command.callback([&chosen] { chosen.run = [&chosen] { return RunBundle(chosen.bundle); }; });
}

void AddExplain(CLI::App& app, Chosen& chosen) {
  ExplainOptions& options = chosen.explain;
  CLI::App& command = *app.add_subcommand(
      "explain",
      "Explains a result; or predicts what the library would do with an event on this machine (on Windows "
      "only), and why.");
  command.group(kFiles);
  command.footer(
      "Examples: varnel explain --software EXAMPLE__1000 --event 1024 --severity 3\n"
      "          varnel explain --code 0xFFFFFFC9");
  CLI::Option& code =
      *command.add_option("--code", options.code, "A result to explain: 0xFFFFFFC9, -55 or 4294967241");
  const auto option = [&](const char* name, auto& value, const char* meaning) {
    return command.add_option(name, value, meaning)->excludes(&code);
  };
  option("--software", options.softwareId, "Software identifier");
  option("--event", options.event, "Event identifier");
  option("--severity", options.severity, "Event severity");
  option("--size", options.size, "Size of the whole report in bytes")
      ->check(CLI::Range(std::int64_t{0}, std::int64_t{UINT32_MAX}))
      ->capture_default_str();
  command
      .add_flag("--managed-only", options.managedOnly, "The product calls Initialize3 instead of Initialize")
      ->excludes(&code);
  command
      .add_flag("--own-dll", options.ownDll,
                "The product keeps varnel.dll in its own folder: ignore the registration")
      ->excludes(&code);
  command.add_flag("--json", options.asJson, "Print JSON");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunExplain(chosen.explain); }; });
}

}  // namespace

void AddFileCommands(CLI::App& app, Chosen& chosen) {
  for (const auto add : {AddShow, AddCompare, AddCollect, AddReconcile, AddCheck, AddBundle, AddExplain})
    add(app, chosen);
}

}  // namespace varnel::tool
