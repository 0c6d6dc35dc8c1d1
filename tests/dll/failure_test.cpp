// Everything that the library asks of its surroundings fails once: every allocation, and every call of the
// functions below, in every step of a report's life. Faults come through the import table of the loaded
// library.

#include "support/captured_output.h"
#include "support/import_hook.h"
#include "support/library.h"
#include "support/process.h"
#include "support/trace_reader.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <tuple>

namespace varnel::test {
namespace {

// The library's heap: every allocation passes here, whether by new, malloc or SysAllocString. One of them can
// be made to fail. Used by one thread.
class WatchedHeap {
 public:
  explicit WatchedHeap(HMODULE library)
      : hooks_{{library, "malloc", &Malloc},           {library, "calloc", &Calloc},
               {library, "realloc", &Realloc},         {library, "free", &Free},
               {library, "SysAllocString", &SysAlloc}, {library, "SysFreeString", &SysFree}} {
    FailAllocation(0);
  }

  // 1 for the next allocation; 0 for none.
  static void FailAllocation(int number) { untilFailure_ = number; }
  static bool HasFailed() { return untilFailure_ < 0; }
  static void FailAll(bool all) { failsAll_ = all; }
  static std::size_t LiveBlocks() { return live_.size(); }
  static int Allocations() { return allocations_; }
  static std::size_t LiveBytes() { return bytes_; }
  // The most that there have been at a time since this was called last.
  static std::size_t TakePeakBytes() { return std::exchange(peak_, bytes_); }
  // For what the library has handed out.
  static void WINAPI SysFree(BSTR text) {
    Forget(text);
    SysFreeString(text);
  }

 private:
  template <class Allocate>
  static auto Count(std::size_t size, Allocate allocate) -> decltype(allocate()) {
    if (failsAll_) return nullptr;
    if (untilFailure_ > 0 && --untilFailure_ == 0)
      untilFailure_ = -1;
    else if (const auto block = allocate())
      return Remember(block, size), block;
    return nullptr;
  }
  static void Remember(void* block, std::size_t size) {
    live_[block] = size;
    bytes_ += size;
    peak_ = std::max(peak_, bytes_);
    ++allocations_;
  }
  static void Forget(void* block) {
    const auto known = live_.find(block);
    if (known == live_.end()) return;
    bytes_ -= known->second;
    live_.erase(known);
  }
  static void* Malloc(std::size_t size) {
    return Count(size, [&] { return std::malloc(size); });
  }
  static void* Calloc(std::size_t count, std::size_t size) {
    return Count(count * size, [&] { return std::calloc(count, size); });
  }
  static void* Realloc(void* block, std::size_t size) {
    void* const moved = Count(size, [&] { return std::realloc(block, size); });
    if (moved && moved != block) Forget(block);
    return moved;
  }
  static void Free(void* block) {
    Forget(block);
    std::free(block);
  }
  static BSTR WINAPI SysAlloc(const OLECHAR* text) {
    return Count(0, [&] { return SysAllocString(text); });
  }

  static inline int untilFailure_ = 0;
  static inline bool failsAll_ = false;
  static inline std::map<void*, std::size_t> live_;
  static inline std::size_t bytes_ = 0;
  static inline std::size_t peak_ = 0;
  static inline int allocations_ = 0;
  ImportHook hooks_[6];
};

// A report from its class object to its end, for the server and for the agent. Every step can be made again.
class ReportLife {
 public:
  struct Step {
    const char* name;
    std::function<HRESULT()> call;
  };

  explicit ReportLife(const Library& library) : library_(library) {}

  std::vector<Step> Steps() {
    return {
        {"DllGetClassObject",
         [&] { return library_.GetClassObject(CLSID_OrbaEventInf, IID_IClassFactory, factory_.PutVoid()); }},
        {"CreateInstance",
         [&] { return factory_->CreateInstance(nullptr, IID_IOrbaEventInf3, report_.PutVoid()); }},
        {"Initialize", [&] { return Initialize(*report_, kServer); }},
        {"CreateMachineElement",
         [&] { return report_->CreateMachineElement(nullptr, Bstr(L"Some OS"), nullptr); }},
        {"CreateEventElement", [&] { return AddEvent(*report_, 1, event_); }},
        {"SetAttributeString", [&] { return event_->SetAttributeString(name_, text_); }},
        {"SetAttributeInt", [&] { return event_->SetAttributeInt(Bstr(L"N"), 123456789); }},
        {"AddElementInto", [&] { return event_->AddElementInto(name_, text_, child_.Put()); }},
        {"AppendElement", [&] { return event_->AppendElement(name_, text_, nullptr); }},
        {"SetAttributeString", [&] { return child_->SetAttributeString(text_, name_); }},
        {"Invoke", [&] { return InvokeLikeAScript(); }},
        {"EnumConnectionPoints", [&] { return ContainerOf(*report_)->EnumConnectionPoints(points_.Put()); }},
        {"Save", [&] { return report_->Save(); }},
        {"SaveAgentEventOnly", [&] { return report_->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")); }},
        {"DeInitialize", [&] { return report_->DeInitialize(); }},
    };
  }

 private:
  // What the method itself returns.
  HRESULT Call(DISPID id, std::initializer_list<VARIANT> with) {
    std::vector<VARIANT> arguments(with);
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    EXCEPINFO exception{};
    const HRESULT result = report_->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters,
                                           nullptr, &exception, nullptr);
    WatchedHeap::SysFree(exception.bstrSource);
    WatchedHeap::SysFree(exception.bstrDescription);
    return result == DISP_E_EXCEPTION ? exception.scode : result;
  }

  // An element into a variable, and a method that fails with a description.
  HRESULT InvokeLikeAScript() {
    VARIANT variable{};
    const HRESULT got = Call(8, {ByReference(VT_VARIANT, &variable)});
    VariantClear(&variable);
    if (got != S_OK) return got;
    VARIANT text{};
    V_VT(&text) = VT_BSTR;
    V_BSTR(&text) = name_;
    const HRESULT refused = Call(11, {text, text});
    return refused == static_cast<HRESULT>(0xFFFFFFFB) ? S_OK : refused;
  }

  const Library& library_;
  const Bstr name_{L"AttributeWithAName"};
  const Bstr text_{std::wstring(5000, L't')};  // fits no buffer and no chunk
  ComPtr<IClassFactory> factory_;
  ComPtr<IOrbaEventInf3> report_;
  ComPtr<IEventElement> event_, child_;
  ComPtr<IEnumConnectionPoints> points_;
};

// An agent whose settings make the library ask for all that it can ask for.
class Failure : public AgentTest {
 protected:
  Failure() {
    SetText(kFramework, L"AgentGUID", std::wstring(200, L'g'));  // needs a buffer of its own
    SetText(kLog, L"LogDetailList", L"one;two");
    SetText(kLog, L"LogFlags", L"U");
    folder.MakeFolder(L"data");
    WriteBytes(folder.File(L"data\\EvtFiltr.ini"), "DisabledEvent=77;");
    folder.MakeFolder(L"ServerEvents");
  }

  // What a missing setting leads to is no fault of the report.
  static std::string WithDefaultGuid(const std::string& text) {
    return Replaced(text, std::string(200, 'g'), "{00000000-0000-0000-0000-000000000000}");
  }

  Library library;
};

// Memory is short for one allocation only: a call that failed for it succeeds when it is made again.
TEST_F(Failure, OfAnyAllocationIsAnAnswerAndLosesNothing) {
  WatchedHeap heap(library.Module());
  int refused = 0;
  const auto live = [&] {
    ReportLife life(library);
    for (const auto& step : life.Steps()) {
      const HRESULT result = step.call();
      if (result == S_OK) continue;
      EXPECT_TRUE(heap.HasFailed()) << step.name;
      EXPECT_EQ(E_OUTOFMEMORY, result) << step.name;
      EXPECT_EQ(S_OK, step.call()) << step.name;
      ++refused;
    }
    return TakeFiles(serverEvents) + TakeFiles(agentEvents);
  };
  const std::string whole = live();
  ASSERT_NE(whole, WithDefaultGuid(whole));
  constexpr int kWarmUp = 20;  // runtime and test library keep something from their first failures on
  std::size_t blocks = 0;
  int handles = 0;
  int points = 0;
  for (;; ++points) {
    SCOPED_TRACE(testing::Message() << "allocation " << points + 1);
    if (points == kWarmUp) {
      blocks = heap.LiveBlocks();
      handles = CountHandles();
    }
    heap.FailAllocation(points + 1);
    const std::string saved = live();
    if (!heap.HasFailed()) break;
    EXPECT_TRUE(saved == whole || saved == WithDefaultGuid(whole)) << saved;
    ASSERT_FALSE(HasFailure());
    if (points < kWarmUp) continue;
    ASSERT_EQ(blocks, heap.LiveBlocks());
    ASSERT_EQ(handles, CountHandles());
  }
  EXPECT_LT(kWarmUp, points);
  std::printf("figures: allocation failure: %d points, %d calls refused, no block lost\n", points, refused);
}

// No memory is left for the exception itself either, in a thread that has never met one.
TEST_F(Failure, OfEveryAllocationIsAnAnswer) {
  int refused = 0;
  const auto live = [&] {
    WatchedHeap heap(library.Module());
    ReportLife life(library);
    for (const auto& step : life.Steps()) {
      heap.FailAll(true);
      const HRESULT result = step.call();
      heap.FailAll(false);
      EXPECT_TRUE(result == S_OK || (result == E_OUTOFMEMORY && step.call() == S_OK)) << step.name;
      refused += result == E_OUTOFMEMORY;
    }
  };
  for (int i = 0; i < 3; ++i) std::jthread{live}.join();
  EXPECT_LT(20, refused);
}

// The record of a thread's exceptions goes with the thread or with the library, whichever is first.
struct Frees {
  static inline std::set<void*> freed;
  static inline int twice = 0;

  static void* Calloc(std::size_t count, std::size_t size) {
    void* const block = std::calloc(count, size);
    freed.erase(block);
    return block;
  }
  static void Free(void* block) {
    if (block && !freed.insert(block).second)
      ++twice;
    else
      std::free(block);
  }
};

TEST(Unloading, FreesEachRecordOnce) {
  const RegistrySandbox registry;
  const Library library;
  auto report = library.CreateReport();
  // They stay: what is freed while the library goes is what matters.
  (void)new ImportHook(library.Module(), "calloc", &Frees::Calloc);
  (void)new ImportHook(library.Module(), "free", &Frees::Free);
  {
    const ImportHook noMemory(library.Module(), "malloc", &NoMemory);
    for (int i = 0; i < 2; ++i) std::jthread([&] { EXPECT_EQ(E_OUTOFMEMORY, Initialize(*report)); }).join();
    EXPECT_EQ(E_OUTOFMEMORY, Initialize(*report));
  }
  report.Reset();
  EXPECT_TRUE(FreeLibrary(library.Module()));
  EXPECT_EQ(0, Frees::twice);
  EXPECT_NE(nullptr, LoadLibraryW(Library::Path().c_str())) << "for its owner to free";
}

// What of its performance needs no clock: two heap calls an event would double the time that it takes, and a
// second copy of the text what a large report needs.
TEST_F(Failure, AnEventTakesOneAllocationAndASaveTheBytesAlone) {
  constexpr int kEvents = 1000;
  const auto report = library.CreateReport();
  Initialize(*report);
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  TakeFiles(agentEvents);
  WatchedHeap heap(library.Module());
  SetText(kFramework, L"Data Path", folder.Path() + L"\\none\\");  // reading the event filter takes one more
  const int allocations = heap.Allocations();
  const std::size_t bytes = heap.LiveBytes();
  const Bstr name(L"Name");
  const Bstr text(L"some text of an event");
  for (int i = 0; i < kEvents; ++i) {
    ComPtr<IEventElement> event;
    ASSERT_EQ(S_OK, AddEvent(*report, 1, event));
    for (const wchar_t* const attribute : {L"A", L"B"})
      ASSERT_EQ(S_OK, event->SetAttributeString(Bstr(attribute), text));
    for (int child = 0; child < 5; ++child) ASSERT_EQ(S_OK, event->AddElementInto(name, text, nullptr));
  }
  EXPECT_GE(kEvents + kEvents / 10, heap.Allocations() - allocations);
  EXPECT_GE(1100u * kEvents, heap.LiveBytes() - bytes);
  SetText(kFramework, L"Data Path", folder.Path() + L"\\");
  heap.TakePeakBytes();
  const std::size_t before = heap.LiveBytes();
  ASSERT_EQ(S_OK, report->Save());
  EXPECT_GE(TakeFiles(agentEvents).size() + 1000, heap.TakePeakBytes() - before);
}

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

// What a call that fails has done all the same.
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
