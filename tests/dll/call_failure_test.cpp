// Every call of the functions below fails once, in every step of a report's life. Faults come through the
// import table of the loaded library.

#include "dll/report_life.h"
#include "support/captured_output.h"
#include "support/import_hook.h"
#include "support/process.h"
#include "support/trace_reader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <tuple>

namespace varnel::test {
namespace {

// The one call into the system that is to fail: the n-th of a function from now on.
struct Fault {
  static inline const char* function = "";
  static inline int untilFailure = 0;
  static inline bool happened = false;
  static inline std::wstring about;  // the name that the call was given, if any

  static void Arm(const char* name, int n) {
    function = name;
    untilFailure = n;
    happened = false;
  }
  static bool HappensNow(const char* called, const wchar_t* name) {
    if (function != std::string_view(called) || untilFailure == 0 || --untilFailure > 0) return false;
    happened = true;
    about = name ? name : L"";
    return true;
  }
};

const wchar_t* NameIn(const wchar_t* text) {
  return text;
}
const wchar_t* NameIn(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION information;
  return GetFileInformationByHandle(handle, &information) ? L"file" : L"other";
}
const wchar_t* NameIn(...) {
  return nullptr;
}

// Does the part of a failing call that takes effect all the same.
template <class Function, class... Parameters>
void DoHalf(Function, Parameters...) {}
void DoHalf(decltype(&WriteFile) function, HANDLE file, const void* bytes, DWORD size, DWORD* written,
            OVERLAPPED*) {
  function(file, bytes, size / 2, written, nullptr);
}

// Stands before one function of the system. Parameter number `Name` says what a call is about. Each has a tag
// of its own, since several functions have the same type.
template <class Tag, int Name, class Result, class... Parameters>
struct Gate {
  static inline const char* function;
  static inline Result failure;
  static inline std::unique_ptr<ImportHook> hook;

  static Result WINAPI Call(Parameters... parameters) {
    const auto original = reinterpret_cast<Result(WINAPI*)(Parameters...)>(hook->Original());
    if (!Fault::HappensNow(function, NameIn(std::get<Name>(std::tuple<Parameters...>(parameters...)))))
      return original(parameters...);
    DoHalf(original, parameters...);
    SetLastError(ERROR_ACCESS_DENIED);
    return failure;
  }
};

// Puts gates before functions for as long as it lives.
class Gates {
 public:
  explicit Gates(HMODULE library) : library_(library) {}
  ~Gates() {
    for (auto* const hook : hooks_) hook->reset();
  }
  Gates(const Gates&) = delete;
  Gates& operator=(const Gates&) = delete;

  template <class Tag, int Name, class Result, class... Parameters>
  void Add(Result(WINAPI*)(Parameters...), const char* function, std::type_identity_t<Result> failure) {
    using This = Gate<Tag, Name, Result, Parameters...>;
    This::function = function;
    This::failure = failure;
    This::hook = std::make_unique<ImportHook>(library_, function, &This::Call);
    hooks_.push_back(&This::hook);
    functions.push_back(function);
  }

  std::vector<const char*> functions;

 private:
  HMODULE library_;
  std::vector<std::unique_ptr<ImportHook>*> hooks_;
};

void AddAll(Gates& gates) {
  gates.Add<struct OpenFile, 0>(&CreateFileW, "CreateFileW", INVALID_HANDLE_VALUE);
  gates.Add<struct OpenNarrowFile, 0>(&CreateFileA, "CreateFileA", INVALID_HANDLE_VALUE);
  gates.Add<struct MakeFolder, 0>(&CreateDirectoryW, "CreateDirectoryW", FALSE);
  gates.Add<struct ReadFilter, 0>(&ReadFile, "ReadFile", FALSE);
  gates.Add<struct SizeFilter, 0>(&GetFileSize, "GetFileSize", INVALID_FILE_SIZE);
  gates.Add<struct OpenKey, 1>(&RegOpenKeyExW, "RegOpenKeyExW", ERROR_ACCESS_DENIED);
  gates.Add<struct QueryWide, 1>(&RegQueryValueExW, "RegQueryValueExW", ERROR_ACCESS_DENIED);
  gates.Add<struct QueryNarrow, 1>(&RegQueryValueExA, "RegQueryValueExA", ERROR_ACCESS_DENIED);
  gates.Add<struct OpenMutex, 2>(&CreateMutexW, "CreateMutexW", nullptr);
  gates.Add<struct WaitForMutex, 0>(&WaitForSingleObject, "WaitForSingleObject", WAIT_FAILED);
  gates.Add<struct GiveMutexBack, 0>(&ReleaseMutex, "ReleaseMutex", FALSE);
  gates.Add<struct TellFile, 0>(&GetFileInformationByHandleEx, "GetFileInformationByHandleEx", FALSE);
  gates.Add<struct WriteBytes, 0>(&WriteFile, "WriteFile", FALSE);  // half of them have been written
  gates.Add<struct AskComputerName, 0>(&GetComputerNameW, "GetComputerNameW", FALSE);
  gates.Add<struct AskUserName, 0>(&GetUserNameW, "GetUserNameW", FALSE);
  gates.Add<struct AskTimeZone, 0>(&GetTimeZoneInformation, "GetTimeZoneInformation", TIME_ZONE_ID_INVALID);
  gates.Add<struct Convert, 2>(&WideCharToMultiByte, "WideCharToMultiByte", 0);
  gates.Add<struct MakeGuid, 0>(&CoCreateGuid, "CoCreateGuid", E_FAIL);
  gates.Add<struct FindLibrary, 0>(&LoadLibraryExW, "LoadLibraryExW", nullptr);
}

class IoFailure : public Failure {
 protected:
  // What came of the step in which the fault happened.
  struct Outcome {
    std::string step;
    HRESULT result = S_OK;
    std::string lines;  // of errors
    std::size_t files = 0;
    bool recovers = true;  // the same call and all that follow work afterwards
    int lostHandles = 0;
  };

  IoFailure() {
    SetNumber(kLog, L"LogLevel", 8);
    AddAll(gates);
  }

  // Takes the files away and counts the whole ones; a broken one is never forgiven.
  std::size_t TakeWholeFiles() {
    std::size_t whole = 0;
    for (const auto& where : {serverEvents, agentEvents}) {
      for (const auto& file : FilesIn(where)) {
        const std::wstring path = where + L"\\" + file;
        (ReadDocument(path).ends_with("</Product></Root>") ? whole : broken)++;
        if (!DeleteFileW(path.c_str())) ++broken;
      }
    }
    return whole;
  }

  static std::string ErrorLines(const std::string& lines) {
    std::string errors;
    for (const auto& line : RegexMatches(lines, ".* E .*\n")) errors += line[0];
    return errors;
  }

  static std::size_t FilesOf(std::string_view step) { return step.starts_with("Save") ? 1 : 0; }

  // Makes the n-th call of the function fail, and the step that it belongs to again. What is printed
  // meanwhile is caught, so nothing is asserted here.
  Outcome Try(const char* function, int n) {
    Outcome outcome;
    const CapturedOutput output;
    const int handles = CountHandles();
    Fault::Arm(function, n);
    std::optional<ReportLife> life(library);
    for (const auto& step : life->Steps()) {
      const std::size_t before = output.Text().size();
      const bool earlier = Fault::happened;
      const HRESULT result = step.call();
      const std::size_t files = TakeWholeFiles();
      trace.ReadMessages();
      if (earlier == Fault::happened) {
        outcome.recovers = outcome.recovers && result == S_OK && files == FilesOf(step.name);
        continue;
      }
      Fault::function = "";
      outcome = {step.name, result, ErrorLines(output.Text().substr(before)), files};
      outcome.recovers = step.call() == S_OK && TakeWholeFiles() == FilesOf(step.name);
    }
    life.reset();
    outcome.lostHandles = CountHandles() - handles;
    return outcome;
  }

  // The rule for a failure in this step; empty where it leads to no more than a default.
  Row TakeRule(const std::string& step, const std::string& function) {
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const Row& row) {
      return row[0] == step && row[1] == function && Narrow(Fault::about).find(row[2]) != std::string::npos;
    });
    if (rule == rules.end()) return {};
    const Row taken = *rule;
    if (taken[3] == "once") rules.erase(rule);
    return taken;
  }

  std::vector<Row> rules = Rules("failing call");
  TraceReader trace;  // so that lines are written to the mailslot as well
  Gates gates{library.Module()};
  std::size_t broken = 0;
};

TEST_F(IoFailure, AtAnyPointGivesItsAnswerAndLeavesNoBrokenFile) {
  int points = 0;
  Try("", 1);  // the system keeps some handles from the first report on
  for (const char* const function : gates.functions) {
    for (int n = 1;; ++n, ++points) {
      const Outcome outcome = Try(function, n);
      if (!Fault::happened) break;
      const Row rule = TakeRule(outcome.step, function);
      SCOPED_TRACE(outcome.step + ", " + function + " " + std::to_string(n) + " " + Narrow(Fault::about));
      EXPECT_EQ(rule.empty() ? S_OK : static_cast<HRESULT>(std::stoul(rule[4], nullptr, 16)), outcome.result);
      EXPECT_EQ(rule.empty() ? FilesOf(outcome.step) : 0, outcome.files);
      EXPECT_TRUE(outcome.recovers);
      EXPECT_EQ(0, outcome.lostHandles);
      EXPECT_EQ(0u, broken);
      if (rule.empty() || rule[5].empty())
        EXPECT_EQ("", outcome.lines);
      else
        EXPECT_THAT(outcome.lines, testing::HasSubstr(rule[5]));
    }
  }
  EXPECT_LT(50, points);
  for (const Row& rule : rules) EXPECT_EQ("any", rule[3]) << rule[1] << " has no such effect";
  std::printf("figures: failing calls: %d points of %zu functions, each with its answer\n", points,
              gates.functions.size());
}

}  // namespace
}  // namespace varnel::test
