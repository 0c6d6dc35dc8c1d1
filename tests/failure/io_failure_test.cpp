#include "component/library.h"
#include "failure/import_hook.h"
#include "support/captured_output.h"
#include "support/handle_count.h"
#include "support/trace_reader.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <sstream>
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
const wchar_t* NameIn(std::FILE* stream) {
  return stream == stdout ? L"console" : L"file";
}
const wchar_t* NameIn(...) {
  return nullptr;
}

// What a call that fails has done all the same.
template <class Function, class... Parameters>
void DoHalf(Function, Parameters...) {}
void DoHalf(decltype(&fwrite) function, const void* bytes, std::size_t size, std::size_t count,
            FILE* stream) {
  function(bytes, size, count / 2, stream);
}

// Stands before the function that has this number in the table below. Parameter `Name` says what a call is
// about.
template <int Number, int Name, class Result, class... Parameters>
struct Gate {
  static inline const char* function;
  static inline Result failure;
  static inline bool worksAllTheSame;
  static inline std::unique_ptr<ImportHook> hook;

  static Result WINAPI Call(Parameters... parameters) {
    const auto original = reinterpret_cast<Result(WINAPI*)(Parameters...)>(hook->Original());
    if (!Fault::HappensNow(function, NameIn(std::get<Name>(std::tuple<Parameters...>(parameters...)))))
      return original(parameters...);
    if (worksAllTheSame)
      original(parameters...);
    else
      DoHalf(original, parameters...);
    SetLastError(ERROR_ACCESS_DENIED);
    errno = EACCES;
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

  template <int Number, int Name, class Result, class... Parameters>
  void Add(Result(WINAPI*)(Parameters...), const char* function, std::type_identity_t<Result> failure,
           bool worksAllTheSame = false) {
    using This = Gate<Number, Name, Result, Parameters...>;
    This::function = function;
    This::failure = failure;
    This::worksAllTheSame = worksAllTheSame;
    This::hook = std::make_unique<ImportHook>(library_, function, reinterpret_cast<void*>(&This::Call));
    hooks_.push_back(&This::hook);
    functions.push_back(function);
  }

  std::vector<const char*> functions;

 private:
  HMODULE library_;
  std::vector<std::unique_ptr<ImportHook>*> hooks_;
};

constexpr int kPhases = 5;
constexpr const char* kPhaseNames[kPhases] = {"Initialize", "CreateMachineElement", "CreateEventElement",
                                              "Save", "SaveAgentEventOnly"};

struct Outcome {
  HRESULT result;
  std::size_t files;
  std::string lines;  // of errors
  bool recovers;      // the same call and all that follow work afterwards
  int lostHandles;
};

// What a failing call leads to, where that is more than a default in the place of a setting.
struct Consequence {
  const char* phase;
  const char* function;
  const wchar_t* about;  // contained in the name
  int nth;               // 0 for any
  HRESULT result;
  std::size_t files;
  const char* line;
};

constexpr Consequence kConsequences[] = {
    {"Save", "RegOpenKeyExW", L"Framework", 1, S_OK, 0, ""},  // an agent that cannot be asked is unmanaged
    {"Save", "RegQueryValueExW", L"AgentMode", 0, S_OK, 0, ""},
    {"Save", "RegOpenKeyExW", L"EventParser", 0, E_FAIL, 0, ""},
    {"Save", "RegQueryValueExW", L"EventsPath", 0, E_FAIL, 0, ""},
    {"Save", "CreateFileW", L".xml", 0, kNotCreated, 0, " couldn't create file "},
    {"Save", "_wfopen", L".xml", 0, kRefused, 0, ":  Couldn't open to write: "},
    {"Save", "fwrite", L"file", 0, kRefused, 0, ":  Couldn't write: "},
    {"Save", "WideCharToMultiByte", L"<?xml", 0, kRefused, 0, ":  Couldn't convert to UTF-8"},
    {"SaveAgentEventOnly", "RegOpenKeyExW", L"Framework", 1, E_FAIL, 0,
     "Failed to get data folder. Error code ="},
    {"SaveAgentEventOnly", "RegQueryValueExW", L"Data Path", 0, E_FAIL, 0,
     "Failed to get data folder. Error code ="},
    {"SaveAgentEventOnly", "_wfopen", L".xml", 0, kNotCreated, 0, ". Couldn't open to write: "},
    {"SaveAgentEventOnly", "fwrite", L"file", 0, kNotCreated, 0, ". Couldn't write: "},
    {"SaveAgentEventOnly", "WideCharToMultiByte", L"<?xml", 0, kNotCreated, 0, ". Couldn't convert to UTF-8"},
};

class IoFailure : public AgentTest {
 protected:
  IoFailure() : gates(GetModuleHandleW(L"varnel.dll")) {
    registry.SetNumber(kLog, L"LogLevel", 8);
    registry.SetText(kLog, L"LogFlags", L"U");
    folder.MakeFolder(L"data");
    WriteBytes(folder.File(L"data\\EvtFiltr.ini"), "DisabledEvent=77;");
    CreateDirectoryW(serverEvents.c_str(), nullptr);
    gates.Add<0, 0>(&CreateFileW, "CreateFileW", INVALID_HANDLE_VALUE);
    gates.Add<1, 0>(&CreateDirectoryW, "CreateDirectoryW", FALSE);
    gates.Add<2, 0>(&ReadFile, "ReadFile", FALSE);
    gates.Add<3, 0>(&GetFileSize, "GetFileSize", INVALID_FILE_SIZE);
    gates.Add<4, 1>(&RegOpenKeyExW, "RegOpenKeyExW", ERROR_ACCESS_DENIED);
    gates.Add<5, 1>(&RegQueryValueExW, "RegQueryValueExW", ERROR_ACCESS_DENIED);
    gates.Add<6, 1>(&RegQueryValueExA, "RegQueryValueExA", ERROR_ACCESS_DENIED);
    gates.Add<7, 2>(&CreateMutexW, "CreateMutexW", nullptr);
    gates.Add<8, 0>(&WaitForSingleObject, "WaitForSingleObject", WAIT_FAILED);
    gates.Add<9, 0>(&ReleaseMutex, "ReleaseMutex", FALSE);
    gates.Add<10, 0>(&_wfopen, "_wfopen", nullptr);
    gates.Add<11, 3>(&fwrite, "fwrite", 0);  // half of it has been written
    gates.Add<12, 0>(&fclose, "fclose", EOF, true);
    gates.Add<13, 0>(&GetComputerNameW, "GetComputerNameW", FALSE);
    gates.Add<14, 0>(&GetUserNameW, "GetUserNameW", FALSE);
    gates.Add<15, 2>(&WideCharToMultiByte, "WideCharToMultiByte", 0);
    gates.Add<16, 0>(&CoCreateGuid, "CoCreateGuid", E_FAIL);
    gates.Add<18, 0>(&WriteFile, "WriteFile", FALSE);  // of trace records
    gates.Add<17, 0>(&GetModuleHandleW, "GetModuleHandleW", nullptr);
  }

  static HRESULT RunPhase(IOrbaEventInf3& report, int phase) {
    switch (phase) {
      case 0:
        return Initialize(report, L"ORBASRVR_3500");
      case 1:
        return report.CreateMachineElement(nullptr, Bstr(L"OS"), nullptr);
      case 2:
        return AddEvent(report, L"Event", 1);
      case 3:
        return report.Save();
      default:
        return report.SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml"));
    }
  }

  // Takes the files away and counts the whole ones; a broken one is never forgiven.
  std::size_t TakeFiles() {
    std::size_t whole = 0;
    for (const auto& where : {serverEvents, agentEvents}) {
      for (const auto& file : FilesIn(where)) {
        const std::wstring path = where + L"\\" + file;
        (ReadBytes(path).ends_with("</Event></Product></Root>") ? whole : broken)++;
        if (!DeleteFileW(path.c_str())) ++broken;
      }
    }
    return whole;
  }

  static std::string ErrorLines(const std::string& lines) {
    std::istringstream all(lines);
    std::string errors;
    for (std::string line; std::getline(all, line);)
      if (line.find(" E ") != std::string::npos) errors += line + "\n";
    return errors;
  }

  // Makes the n-th call of the function in that phase fail, then everything again without a fault. What is
  // printed meanwhile is caught, so nothing is asserted here.
  Outcome Try(int phase, const char* function, int n) {
    Outcome outcome{};
    const CapturedOutput output;
    const int handles = CountHandles();
    auto report = library.CreateReport();
    for (int earlier = 0; earlier < phase; ++earlier) RunPhase(*report, earlier);
    TakeFiles();
    const std::size_t before = output.Text().size();
    Fault::Arm(function, n);
    outcome.result = RunPhase(*report, phase);
    Fault::function = "";
    outcome.lines = ErrorLines(output.Text().substr(before));
    outcome.files = TakeFiles();
    outcome.recovers = true;
    for (int again = phase; again < kPhases; ++again)
      outcome.recovers = RunPhase(*report, again) == S_OK && outcome.recovers;
    outcome.recovers = TakeFiles() == (phase == kPhases - 1 ? 1u : 2u) && outcome.recovers;
    trace.ReadMessages();
    report.Reset();
    outcome.lostHandles = CountHandles() - handles;
    return outcome;
  }

  static Consequence Expected(int phase, const char* function, int n) {
    for (const auto& row : kConsequences) {
      if (row.phase == std::string_view(kPhaseNames[phase]) && row.function == std::string_view(function) &&
          Fault::about.find(row.about) != std::wstring::npos && (row.nth == 0 || row.nth == n))
        return row;
    }
    return {"", "", L"", 0, S_OK, phase >= 3 ? 1u : 0u, ""};
  }

  TraceReader trace;  // so that lines are written to the mailslot as well
  Library library;
  Gates gates;
  std::size_t broken = 0;
};

TEST_F(IoFailure, AtAnyPointGivesItsAnswerAndLeavesNoBrokenFile) {
  int points = 0;
  Try(kPhases - 1, "", 1);  // the system keeps some handles from the first report on
  for (const char* const function : gates.functions) {
    for (int phase = 0; phase < kPhases; ++phase) {
      for (int n = 1;; ++n) {
        const Outcome outcome = Try(phase, function, n);
        if (!Fault::happened) break;
        ++points;
        const Consequence expected = Expected(phase, function, n);
        SCOPED_TRACE(testing::Message() << kPhaseNames[phase] << ", " << function << " number " << n << " "
                                        << std::string(Fault::about.begin(), Fault::about.end()));
        EXPECT_EQ(expected.result, outcome.result);
        EXPECT_EQ(expected.files, outcome.files);
        EXPECT_TRUE(outcome.recovers);
        EXPECT_EQ(0, outcome.lostHandles);
        EXPECT_EQ(0u, broken);
        if (*expected.line)
          EXPECT_THAT(outcome.lines, testing::HasSubstr(expected.line));
        else
          EXPECT_EQ("", outcome.lines);
      }
    }
  }
  EXPECT_LT(50, points);
  std::printf("figures: failing calls: %d points of %zu functions, each with its answer\n", points,
              gates.functions.size());
}

}  // namespace
}  // namespace varnel::test
