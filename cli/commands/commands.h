#pragma once

#include "console/console.h"
#include "console/text.h"
#include "report/report_json.h"
#include "selection/selection.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The commands of the program: a function for each, with the options of the command line as UTF-8. A command
// that cannot do its work throws Failure or an exception of varnel.hpp.
namespace varnel::tool {

struct DoctorOptions {
  std::string softwareId = "EXAMPLE__1000";
  bool asJson = false;
  bool write = false;
  bool repairTrace = false;  // call RepairTrace instead of RunDoctor
  std::string dll;           // for the trial report; empty: the registered class
  int seconds = 10;
  std::uint64_t backlogFiles = 1000;
  std::uint64_t backlogMinutes = 60;
};
// Returns kFound for a warning, kFailed for a failure row.
[[nodiscard]] Status RunDoctor(const DoctorOptions& options);
// Returns the rows as lines of text.
[[nodiscard]] std::string DoctorLines(const DoctorOptions& options);

struct ExplainOptions {
  std::string code;  // a result to explain; if empty, the members below describe an event
  std::optional<std::string> softwareId;
  std::optional<std::int32_t> event;
  std::optional<std::int32_t> severity;
  std::int64_t size = 500;  // about the size of a report with one event
  bool managedOnly = false;
  bool ownDll = false;  // the product has its own copy of the DLL: registration does not matter
  bool asJson = false;
};
// Returns kFound if no file would be written, Save waits, or the result is unknown.
[[nodiscard]] Status RunExplain(const ExplainOptions& options);
// Predicts the event. For RunExplain.
[[nodiscard]] Status ExplainEvent(const ExplainOptions& options);

struct SendOptions {
  ReportText report;  // without its event
  EventText event = {{"Tried", "", {}, {}}, 1, 1, {}};
  std::vector<std::string> attributes;  // NAME=TEXT
  std::vector<std::string> children;
  std::string dll;
  int repeat = 1;
  bool fromInput = false;  // read the whole report from standard input
  bool managedOnly = false;
  bool returnResult = false;  // return the HRESULT as the program's status, for varnel doctor
};
[[nodiscard]] Status RunSend(const SendOptions& options);

// Creates a report object with a DLL (full path) and returns the HRESULT as status. For varnel doctor.
[[nodiscard]] Status RunLoad(const std::string& dll);

struct ShowOptions {
  std::vector<std::string> paths;
  bool tree = false;
  bool json = false;
  bool follow = false;
  bool empty = false;     // write the page without events
  std::string page;       // the file to write as a page
  std::string catalogue;  // whose texts explain the events; empty: none
  std::string state;      // with --follow: the file that remembers what has been shown; empty: none
  SelectionTerms terms;
  std::vector<std::uint32_t> last;  // show the last N events only; the largest number counts
  bool reverse = false;             // the newest first
  bool count = false;               // print the number of events
  std::string top;                  // print the values of this field and how frequent they are
  bool csv = false;
};
[[nodiscard]] Status RunShow(const ShowOptions& options);
// Returns the event folders of this machine's agent and server, for a command without paths.
[[nodiscard]] std::vector<NativePath> DefaultEventFolders(const std::string& command);

struct CollectOptions {
  std::vector<std::string> folders;
  std::string to;
  std::uint64_t segmentBytes = std::uint64_t{16} << 20;
  std::uint64_t everyMilliseconds = 60'000;
  std::uint64_t diskBytes = std::uint64_t{1} << 30;
  bool once = false;
};
[[nodiscard]] Status RunCollect(const CollectOptions& options);

struct CompareOptions {
  std::string one;
  std::string other;
  SelectionTerms terms;
};
// Returns kFound if the events differ.
[[nodiscard]] Status RunCompare(const CompareOptions& options);

struct CheckOptions {
  std::vector<std::string> paths;
  std::string catalogue;  // the catalogue that the files must follow; empty: any event document
};
[[nodiscard]] Status RunCheck(const CheckOptions& options);

struct ReconcileOptions {
  std::vector<std::string> receipts;  // files, or folders with receipts
  std::string against;                // the lines that a consumer received; "-": standard input
  bool idsOnly = false;               // lines may have other bytes than those that were handed over
};
// Returns kFound if a line is missing or changed.
[[nodiscard]] Status RunReconcile(const ReconcileOptions& options);

struct BundleOptions {
  std::string to;
  std::vector<std::string> paths;
  std::vector<std::string> logs;
  bool withoutMachine = false;  // nothing about this machine
  bool redact = false;
  bool freeText = false;
  std::vector<std::string> catalogues;
  SelectionTerms terms;
};
[[nodiscard]] Status RunBundle(const BundleOptions& options);
// What a bundle has about this machine: files, and what is replaced in them: names of the machine and its
// users, and the agent's GUID. Outside Windows
// nothing.
struct MachineTexts {
  std::vector<std::pair<std::string, std::string>> files;  // names and texts
  std::vector<std::string> machines;
  std::vector<std::string> users;
  std::string agent;  // its GUID
};
[[nodiscard]] MachineTexts DescribeMachine();

struct CatalogueCheckOptions {
  std::string path;
  bool areWarningsErrors = false;
};
[[nodiscard]] Status RunCatalogueCheck(const CatalogueCheckOptions& options);

struct GenerateOptions {
  std::string path;
  std::string folder;
  std::string name;  // of the generated files; if empty, that of the catalogue's file
};
[[nodiscard]] Status RunGenerate(const GenerateOptions& options);

struct DiffOptions {
  std::string before;
  std::string after;
  std::vector<std::string> allowed;  // names of catalogue::kBreaksNames
};
[[nodiscard]] Status RunCatalogueDiff(const DiffOptions& options);

struct CoverOptions {
  std::string catalogue;
  std::vector<std::string> paths;
  bool all = false;  // something declared that never occurred is a finding too
  bool asJson = false;
};
[[nodiscard]] Status RunCatalogueCover(const CoverOptions& options);

struct VerifyOptions {
  std::string path;  // a package: a folder or a zip
};
[[nodiscard]] Status RunVerify(const VerifyOptions& options);

struct TraceOptions {
  int level = 0;  // log level to set; 0: keep the current one
  int upTo = 8;
  std::string facility;
  int seconds = 0;  // 0: until Ctrl+C
  bool json = false;
};
[[nodiscard]] Status RunTrace(const TraceOptions& options);
// Restores the log level that a killed trace has left. Returns kDone also if there is nothing to restore.
[[nodiscard]] Status RepairTrace();

}  // namespace varnel::tool
