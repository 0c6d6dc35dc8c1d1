#include "command_line.h"

#include "command_line_options.h"
#include "console/build_identifier.h"
#include "console/printable.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <new>

namespace varnel::tool {
namespace {

// The headings of the commands in the help text.
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
  for (const auto add : {AddFileCommands, AddCatalogue, AddVerify, AddDoctor, AddSend, AddTrace, AddLoad})
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
