#pragma once

#include "console.h"
#include "report_json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What the program can be asked, a function for each command, with what may be said on the command line;
// texts in UTF-8. They throw Failure, or what varnel.hpp throws, when they cannot do it.
namespace varnel::tool {

struct DoctorOptions {
  std::string softwareId = "EXAMPLE__1000";
  bool asJson = false;
  bool write = false;
  bool repairTrace = false;  // see RepairTrace; nothing else is then done
  std::string dll;           // of the trial report; empty: the registered class
  int seconds = 10;
  std::uint64_t backlogFiles = 1000;
  std::uint64_t backlogMinutes = 60;
};
[[nodiscard]] Status RunDoctor(const DoctorOptions& options);

struct ExplainOptions {
  std::string code;  // when it is empty, an event is meant
  std::optional<std::string> softwareId;
  std::optional<std::int32_t> event;
  std::optional<std::int32_t> severity;
  std::int64_t size = 500;  // about what a report of one event has
  bool managedOnly = false;
  bool ownDll = false;  // of a product that brings its own copy: registration does not count
  bool asJson = false;
};
[[nodiscard]] Status RunExplain(const ExplainOptions& options);

struct SendOptions {
  ReportText report;  // without its event
  EventText event = {{"Tried", "", {}, {}}, 1, 1, {}};
  std::vector<std::string> attributes;  // NAME=TEXT
  std::vector<std::string> children;
  std::string dll;
  int repeat = 1;
  bool fromInput = false;  // the whole report comes from standard input
  bool managedOnly = false;
  bool returnResult = false;  // the status of the program is the HRESULT, for varnel doctor
};
[[nodiscard]] Status RunSend(const SendOptions& options);

// Makes a report object with a DLL (full path) and returns the HRESULT as status, for varnel doctor.
[[nodiscard]] Status RunLoad(const std::string& dll);

struct ShowOptions {
  std::vector<std::string> paths;
  bool tree = false;
  bool json = false;
  bool follow = false;
  std::string page;  // the file that it goes to
};
[[nodiscard]] Status RunShow(const ShowOptions& options);

struct CheckOptions {
  std::vector<std::string> paths;
};
[[nodiscard]] Status RunCheck(const CheckOptions& options);

struct TraceOptions {
  int level = 0;  // to be set; 0: leave it
  int upTo = 8;
  std::string facility;
  int seconds = 0;  // 0: until Ctrl+C
  bool json = false;
};
[[nodiscard]] Status RunTrace(const TraceOptions& options);
// Puts back the log level that a killed trace has left.
[[nodiscard]] Status RepairTrace();

}  // namespace varnel::tool
