#include "command_line.h"

#include "commands/commands.h"
#include "console/build_identifier.h"
#include "console/printable.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <new>

namespace varnel::tool {
namespace {

// The options of all commands, and the command that was selected. Every program has all commands, so that
// help and messages name them; outside Windows those of kMachine say only that they work on Windows.
struct Chosen {
  DoctorOptions doctor;
  ExplainOptions explain;
  SendOptions send;
  ShowOptions show;
  CollectOptions collect;
  CompareOptions compare;
  CheckOptions check;
  ReconcileOptions reconcile;
  BundleOptions bundle;
  CatalogueCheckOptions catalogueCheck;
  GenerateOptions generate;
  DiffOptions diff;
  CoverOptions cover;
  VerifyOptions verify;
  TraceOptions trace;
  std::string dll;
  std::function<Status()> run;
};

// The headings of the commands in the help text.
constexpr char kFiles[] = "Commands for event files, on every system";
constexpr char kCatalogues[] = "Commands for catalogues of events, on every system";
constexpr char kPackages[] = "Commands for packages, on every system";
constexpr char kMachine[] = "Commands that ask this machine, on Windows only";

void AddDoctor(CLI::App& app, Chosen& chosen) {
  DoctorOptions& options = chosen.doctor;
  CLI::App& command = *app.add_subcommand(
      "doctor",
      "Finds out why events do not arrive. Prints a row for each check: state, finding, what to do.");
  command.group(kMachine);
  command.footer(
      "Example: varnel doctor --software EXAMPLE__1000 --write\n"
      "Returns 0 if all is well, 1 with warnings, 2 with failures.");
  command.add_option("--software", options.softwareId, "Software identifier of the product")
      ->capture_default_str();
  command.add_flag("--json", options.asJson,
                   "Print JSON: a list of objects with check, state, found, remedy");
  command.add_flag("--write", options.write,
                   "Also save a trial report as the product would, look for its file and remove it");
  command.add_option("--dll", options.dll,
                     "Full path of a varnel.dll to use for the trial report instead of the registered one");
  command
      .add_option("--timeout", options.seconds,
                  "Time limit in seconds for loading a DLL and for the trial report")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  command
      .add_option("--backlog-files", options.backlogFiles,
                  "Warn from this number of files in an event folder")
      ->capture_default_str();
  command.add_option("--backlog-minutes", options.backlogMinutes, "Warn from this age of the oldest file")
      ->capture_default_str();
  command.add_flag("--repair-trace", options.repairTrace,
                   "Only restore the log level that a killed varnel trace --level has left");
  command.callback([&chosen] {
    chosen.run = [&chosen] { return chosen.doctor.repairTrace ? RepairTrace() : RunDoctor(chosen.doctor); };
  });
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

void AddSend(CLI::App& app, Chosen& chosen) {
  SendOptions& options = chosen.send;
  CLI::App& command =
      *app.add_subcommand("send", "Reports an event with the real library and prints the path of its file.");
  command.group(kMachine);
  command.footer(
      "Example: varnel send --software EXAMPLE__1000 --event Tried --id 1 --severity 1 -a From=Console");
  command.add_flag("--json", options.fromInput,
                   "Read the whole report as JSON from standard input (docs/tool.md)");
  command.add_flag("--managed-only", options.managedOnly,
                   "Fail if the agent is not managed, as after Initialize3");
  const auto option = [&command](const char* name, auto& value, const char* meaning) {
    command.add_option(name, value, meaning)->capture_default_str();
  };
  option("--software", options.report.softwareId, "Software identifier");
  option("--name", options.report.name, "Product name");
  option("--product-version", options.report.version, "Product version");
  option("--family", options.report.family, "Product family");
  option("--root", options.report.root, "Name of the root element");
  option("--element", options.report.element, "Name of the product element");
  option("--event", options.event.name, "Name of the event");
  option("--id", options.event.id, "Event identifier");
  option("--severity", options.event.severity, "Event severity");
  command.add_option("-a,--attribute", options.attributes, "NAME=TEXT, an attribute of the event");
  command.add_option("-c,--child", options.children, "NAME=TEXT, an element in the event");
  command.add_option("--repeat", options.repeat, "Save this number of reports")
      ->check(CLI::Range(1, 100'000));
  command.add_option("--dll", options.dll, "Full path of a varnel.dll to use instead of the registered one");
  command.add_flag("--return-result", options.returnResult)->group("");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunSend(chosen.send); }; });
}

// For varnel doctor, which runs it in a separate process.
void AddLoad(CLI::App& app, Chosen& chosen) {
  CLI::App& command = *app.add_subcommand("load")->group("");
  command.add_option("dll", chosen.dll)->required();
  command.callback([&chosen] { chosen.run = [&chosen] { return RunLoad(chosen.dll); }; });
}

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

void AddCatalogueCheck(CLI::App& catalogue, Chosen& chosen) {
  CatalogueCheckOptions& options = chosen.catalogueCheck;
  CLI::App& command = *catalogue.add_subcommand("check", "Finds all faults of a catalogue.");
  command.footer("Example: varnel catalogue check acme.toml");
  command.add_option("file", options.path, "The catalogue")->required();
  command.add_flag("--warnings-as-errors", options.areWarningsErrors, "Return 1 for warnings, too");
  command.callback(
      [&chosen] { chosen.run = [&chosen] { return RunCatalogueCheck(chosen.catalogueCheck); }; });
}

void AddGenerate(CLI::App& catalogue, Chosen& chosen) {
  GenerateOptions& options = chosen.generate;
  CLI::App& command = *catalogue.add_subcommand(
      "generate", "Generates code for C++ and .NET, schemas, and the reference for analysts.");
  command.footer("Example: varnel catalogue generate acme.toml --to generated");
  command.add_option("file", options.path, "The catalogue")->required();
  command.add_option("--to", options.folder, "The folder for the files, created if it is missing")
      ->required();
  command.add_option("--name", options.name,
                     "Name of the files and of the namespace; by default the catalogue's file name");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunGenerate(chosen.generate); }; });
}

void AddDiff(CLI::App& catalogue, Chosen& chosen) {
  DiffOptions& options = chosen.diff;
  CLI::App& command =
      *catalogue.add_subcommand("diff", "Says what changed between two catalogues, and whom it breaks.");
  command.footer(
      "Example: varnel catalogue diff released.toml acme.toml --allow DOCS\n"
      "Returns 0 if all kinds of changes are allowed, 1 if not.");
  command.add_option("old", options.before, "The catalogue before the change")->required();
  command.add_option("new", options.after, "The catalogue after the change")->required();
  command.add_option("--allow", options.allowed, "Allow changes of this kind; may be repeated")
      ->check(CLI::IsMember({"SOURCE", "FILES", "POLICY", "DOCS"}))
      ->allow_extra_args(false);
  command.callback([&chosen] { chosen.run = [&chosen] { return RunCatalogueDiff(chosen.diff); }; });
}

void AddCover(CLI::App& catalogue, Chosen& chosen) {
  CoverOptions& options = chosen.cover;
  CLI::App& command =
      *catalogue.add_subcommand("cover", "Compares event files with the catalogue of their product.");
  command.footer(
      "Example: varnel catalogue cover acme.toml --all C:\\Agent\\AgentEvents\n"
      "Returns 1 if events deviate from the catalogue, 2 if there are none.");
  command.add_option("file", options.catalogue, "The catalogue")->required();
  command.add_option("path", options.paths, "Event files, or folders with event files")->required();
  command.add_flag("--all", options.all, "Return 1 also if something that is declared never occurred");
  command.add_flag("--json", options.asJson, "Print JSON");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunCatalogueCover(chosen.cover); }; });
}

void AddCatalogue(CLI::App& app, Chosen& chosen) {
  CLI::App& command =
      *app.add_subcommand("catalogue", "Works with the catalogue of a product's events (docs/catalogue.md).");
  command.group(kCatalogues);
  command.require_subcommand(1);
  for (const auto add : {AddCatalogueCheck, AddGenerate, AddDiff, AddCover}) add(command, chosen);
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

void AddVerify(CLI::App& app, Chosen& chosen) {
  CLI::App& command = *app.add_subcommand(
      "verify",
      "Compares a package with its SBOM and names the files that differ, are missing or were added.");
  command.group(kPackages);
  command.footer(
      "Example: varnel verify varnel-1.0.0-win64.zip\n"
      "Returns 0 if all is as packaged, 1 if something differs.");
  command.add_option("path", chosen.verify.path, "The package: its folder, or the zip")->required();
  command.callback([&chosen] { chosen.run = [&chosen] { return RunVerify(chosen.verify); }; });
}

void AddTrace(CLI::App& app, Chosen& chosen) {
  TraceOptions& options = chosen.trace;
  CLI::App& command =
      *app.add_subcommand("trace", "Prints the library's log lines as they arrive, until Ctrl+C.");
  command.group(kMachine);
  command.footer(
      "--level applies to reports whose Initialize is called while the trace runs.\n"
      "Example: varnel trace --level 8 --facility Quorvel");
  command
      .add_option("--level", options.level, "Set the log level, 1 to 8, and restore the old one at the end")
      ->check(CLI::Range(1, 8));
  command.add_option("--up-to", options.upTo, "Print only lines up to this level, 1 to 8")
      ->check(CLI::Range(1, 8));
  command.add_option("--facility", options.facility, "Print only lines of this facility");
  command.add_option("--seconds", options.seconds, "Stop after this time")->check(CLI::NonNegativeNumber);
  command.add_flag("--json", options.json, "Print one JSON object per line");
  command.callback([&chosen] { chosen.run = [&chosen] { return RunTrace(chosen.trace); }; });
}

// Throws the exceptions of the commands.
Status RunCommandLine(const std::vector<std::string>& arguments) {
  CLI::App app("Answers questions about varnel.dll and its event files.", "varnel");
  app.require_subcommand(1);
  app.set_version_flag("--version", VARNEL_VERSION " (build " + BuildIdentifier() + ")");
  Chosen chosen;
  for (const auto add : {AddShow, AddCompare, AddCollect, AddReconcile, AddCheck, AddBundle, AddCatalogue,
                         AddExplain, AddVerify, AddDoctor, AddSend, AddTrace, AddLoad})
    add(app, chosen);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(),
                                       arguments.rend()));  // the parser takes them in reverse order
  } catch (const CLI::CallForVersion& version) {
    Print(std::string("varnel ") + version.what() + "\n");
    return kDone;
  } catch (const CLI::Success&) {
    const CLI::App* asked = &app;
    while (!asked->get_subcommands().empty()) asked = asked->get_subcommands()[0];
    Print(asked->help());
    return kDone;
  } catch (const CLI::ParseError& error) {
    PrintError(Printable(error.what()) + "; see varnel --help");
    return kFailed;
  }
  return chosen.run();
}

}  // namespace

Status RunProgram(const std::function<std::vector<std::string>()>& arguments) noexcept {
  try {
    return RunCommandLine(arguments());
  } catch (const std::bad_alloc&) {
    PrintError("there is not enough memory; end other programs and try again");
  } catch (const std::exception& error) {
    PrintError(error.what());
  }
  return kFailed;
}

}  // namespace varnel::tool
