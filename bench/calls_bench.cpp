// calls_bench                  compares reports, and loading the library, with bare system calls
// calls_bench --count WHAT     does that once more between two marks, for a trace of the server's requests
// calls_bench --peak           prints the bytes that a large save allocates besides its tree
// VARNEL_DLL and IDLE_DLL name the library and a COM library that does nothing. Prints lines for report.py.

#include "bare_calls.h"
#include "base/com_ptr.h"
#include "event_texts.h"
#include "generated/bench_events.hpp"
#include "measure.h"
#include "varnel/testing/import_table.hpp"
#include "varnel/varnel.hpp"
#include "xml/document.h"

#include <malloc.h>
#include <oleauto.h>

#include <cstdlib>
#include <deque>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::bench {
namespace {

class Text {
 public:
  Text(std::wstring_view text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  ~Text() { SysFreeString(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  operator BSTR() const { return text_; }

 private:
  BSTR text_;
};

// The texts of an event as BSTRs.
struct EventTexts {
  using Pair = std::pair<Text, Text>;

  EventTexts() {
    for (const Item& attribute : kAttributes) attributes.emplace_back(attribute.name, attribute.text);
    for (std::size_t i = kOwnTexts; i < std::size(kTexts); ++i)
      texts.emplace_back(kTexts[i].name, kTexts[i].text);
  }

  Text name{kEventName};
  std::deque<Pair> attributes;
  std::deque<Pair> texts;
};
const EventTexts kComTexts;
constexpr DATE kNoon = 45358.5;

// Ends the program if a call has failed: figures of failing calls would mean nothing.
void Check(HRESULT result) {
  if (result == S_OK) return;
  std::fprintf(stderr, "a call failed: 0x%08lX\n", static_cast<unsigned long>(result));
  std::exit(1);
}

ComPtr<IUnknown> CreateObject(HMODULE library, REFIID iid) {
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const auto get =
      reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
  ComPtr<IClassFactory> factory;
  Check(get(CLSID_OrbaEventInf, IID_IClassFactory, factory.PutVoid()));
  ComPtr<IUnknown> object;
  Check(factory->CreateInstance(nullptr, iid, object.PutVoid()));
  return object;
}

// A report with machine facts and `events` events.
class Report {
 public:
  Report(HMODULE library, const wchar_t* softwareId, int events)
      : object_(CreateObject(library, IID_IOrbaEventInf3)),
        report_(static_cast<IOrbaEventInf3*>(object_.Get())) {
    Check(report_->Initialize(Text(softwareId), Text(L"EventDocument"), Text(L"GuardSoftware"),
                              Text(L"Endpoint Guard"), Text(L"10.7.1.245"), Text(L"TVD")));
    Check(report_->CreateMachineElement(nullptr, nullptr, nullptr));
    for (int i = 0; i < events; ++i) AddEvent();
  }

  void AddEvent() const {
    IOrbaEventInf2& typed = *report_;
    ComPtr<IEventElement> event;
    Check(typed.CreateEventElement(kComTexts.name, 1095, 3, kNoon, event.Put()));
    for (const auto& [name, value] : kComTexts.attributes) Check(event->SetAttributeString(name, value));
    for (const auto& [name, value] : kComTexts.texts) Check(event->AddElementInto(name, value, nullptr));
  }
  void AddBareEvent() const {
    Check(report_->CreateEventElement(kComTexts.name, 1095, 3, kNoon, static_cast<IEventElement**>(nullptr)));
  }
  // Adds an event as a product does without our header: each text is allocated for its call, and the time is
  // now.
  void AddFreshEvent() const {
    SYSTEMTIME now;
    GetSystemTime(&now);
    DATE date = 0;
    SystemTimeToVariantTime(&now, &date);
    IOrbaEventInf2& typed = *report_;
    ComPtr<IEventElement> event;
    Check(typed.CreateEventElement(Text(kEventName), 1095, 3, date, event.Put()));
    for (const Item& attribute : kAttributes)
      Check(event->SetAttributeString(Text(attribute.name), Text(attribute.text)));
    for (std::size_t i = kOwnTexts; i < std::size(kTexts); ++i)
      Check(event->AddElementInto(Text(kTexts[i].name), Text(kTexts[i].text), nullptr));
  }
  void Save() const { Check(report_->Save()); }

 private:
  ComPtr<IUnknown> object_;
  IOrbaEventInf3* report_;
};

std::wstring Wide(const std::string& utf8) {
  std::wstring text(utf8.size(), L'\0');
  text.resize(static_cast<std::size_t>(MultiByteToWideChar(
      CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text.data(), static_cast<int>(text.size()))));
  return text;
}

constexpr wchar_t kAgent[] = L"EXAMPLE__1000";
constexpr wchar_t kServer[] = L"ORBASRVR_3500";

void CompareSaves(HMODULE library, const Agent& agent) {
  struct Row {
    const wchar_t* softwareId;
    int events;
    int rounds;
    double goal;
  };
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX");
  for (const auto& [id, events, rounds, goal] : {Row{kAgent, 1, 301, 1.04},
                                                 {kAgent, 10, 301, 1.04},
                                                 {kServer, 10, 301, 1.04},
                                                 {kAgent, 1000, 101, 1.0},
                                                 {kAgent, 20000, 21, 0.75}}) {
    const Report report(library, id, events);
    report.Save();
    const std::wstring text = Wide(agent.TakeFiles());
    const auto bare = [&, id = id] { (id == kServer ? BareServerSave : BareAgentSave)(agent, text, mutex); };
    const std::string figure = std::string("Save, ") + (id == kServer ? "server" : "agent") +
                               " folder, against bare calls, N = " + std::to_string(events);
    PrintRow(figure.c_str(),
             Compare(
                 rounds, 1, [&] { report.Save(); }, bare, [&] { agent.TakeFiles(); }),
             "ns", goal);
  }
  CloseHandle(mutex);
}

// Replaces an import of a library during its lifetime.
class Exchanged {
 public:
  Exchanged(HMODULE library, const char* function, void* replacement)
      : place_(testing::detail::FindImport(library, function)), original_(*place_) {
    testing::detail::WriteImport(place_, replacement);
  }
  ~Exchanged() { testing::detail::WriteImport(place_, original_); }
  Exchanged(const Exchanged&) = delete;
  Exchanged& operator=(const Exchanged&) = delete;

 private:
  void** place_;
  void* original_;
};

LSTATUS WINAPI OpenNothing(HKEY, const wchar_t*, DWORD, REGSAM, HKEY*) {
  return ERROR_FILE_NOT_FOUND;
}

// Measures the cost of varnel.hpp over the same calls.
void CompareHeader(HMODULE library, const char* figure, int rounds, int times, double goal) {
  const Report report(library, kAgent, 0);
  const varnel::Report client(
      varnel::Library::FromFile(_wgetenv(L"VARNEL_DLL")),
      {kAgent, "EventDocument", "GuardSoftware", "Endpoint Guard", "10.7.1.245", "TVD"});
  const auto add = [&] {
    const Element event = client.AddEvent(kEventName, 1095, 3);
    for (const Item& attribute : kAttributes) event.SetAttribute(attribute.name, attribute.text);
    for (std::size_t i = kOwnTexts; i < std::size(kTexts); ++i)
      Check(event.TryAddChild(kTexts[i].name, kTexts[i].text));
  };
  PrintRow(figure, Compare(rounds, times, add, [&] { report.AddFreshEvent(); }), "ns", goal);
}

// Measures the cost of a generated class over the same calls of varnel.hpp.
void CompareGenerated(const char* figure, int rounds, int times, double goal) {
  const varnel::Library library = varnel::Library::FromFile(_wgetenv(L"VARNEL_DLL"));
  const varnel::Report generated(library, ::bench::DescribeProduct("10.7.1.245"));
  const varnel::Report client(library, ::bench::DescribeProduct("10.7.1.245"));
  const auto calls = [&] {
    const Element event = client.AddEvent(kEventName, 1095, 3);
    for (const Item& attribute : kAttributes) event.SetAttribute(attribute.name, attribute.text);
    for (std::size_t i = kOwnTexts; i < std::size(kTexts); ++i)
      Check(event.TryAddChild(kTexts[i].name, kTexts[i].text));
  };
  using Threat = ::bench::ThreatDetected;
  const auto add = [&] {
    Threat(kAttributes[0].text, kAttributes[1].text, Threat::ThreatName(kTexts[3].text),
           Threat::FilePath(kTexts[4].text), Threat::FileHash(kTexts[5].text),
           Threat::ProcessName(kTexts[6].text), Threat::TargetUser(kTexts[7].text))
        .AddTo(generated);
  };
  PrintRow(figure, Compare(rounds, times, add, calls), "ns", goal);
}

// The only system calls of an event are to the registry.
void CompareEvents(HMODULE library, const Agent& agent) {
  CompareHeader(library, "whole event through varnel.hpp, against the calls themselves", 501, 4, 1.02);
  CompareGenerated("whole event through a generated class, against varnel.hpp", 501, 4, 1.02);
  {
    const Report report(library, kAgent, 0);
    PrintRow("one event, against its bare system calls",
             Compare(
                 501, 4, [&] { report.AddBareEvent(); }, [&] { BareEvent(agent); }),
             "ns", 1.03);
  }
  const Report report(library, kAgent, 0);
  const Exchanged hook(library, "RegOpenKeyExW", reinterpret_cast<void*>(&OpenNothing));
  CompareHeader(library, "whole event through varnel.hpp without system calls, against the calls", 101, 200,
                1.2);
  AdvXMLParser::Document document(L"EventDocument");
  auto* const software = document.Root()->AddElement(L"GuardSoftware");
  const auto addToTree = [&] {
    auto* const event = software->AddElement(kEventName);
    for (const Item& attribute : kAttributes) event->AddToAttribute(attribute.name, attribute.text);
    for (const Item& text : kTexts) event->AddElement(text.name, text.text);
  };
  PrintRow("whole event through COM without system calls, against the tree alone",
           Compare(
               101, 200, [&] { report.AddEvent(); }, addToTree),
           "ns", 1.5);
}

void CompareLoading() {
  const auto use = [](const char* variable) {
    const HMODULE library = LoadLibraryW(_wgetenv(Wide(variable).c_str()));
    CreateObject(library, IID_IUnknown);
    FreeLibrary(library);
  };
  PrintRow("load, create an object, release, unload, against a COM library that does nothing",
           Compare(
               51, 1, [&] { use("VARNEL_DLL"); }, [&] { use("IDLE_DLL"); }),
           "ns", 1.5);
}

// Counts the bytes that the library has allocated from the C runtime's heap.
struct Heap {
  static inline std::size_t live = 0;
  static inline std::size_t peak = 0;

  static void* Allocate(std::size_t size) {
    void* const block = std::malloc(size);
    live += _msize(block);
    peak = std::max(peak, live);
    return block;
  }
  static void Free(void* block) {
    if (block) live -= _msize(block);
    std::free(block);
  }
};

void ComparePeak(HMODULE library, const Agent& agent) {
  const Exchanged allocate(library, "malloc", reinterpret_cast<void*>(&Heap::Allocate));
  const Exchanged free(library, "free", reinterpret_cast<void*>(&Heap::Free));
  const Report report(library, kAgent, 20000);
  report.Save();
  const auto bytes = static_cast<double>(agent.TakeFiles().size());
  const std::size_t before = Heap::live;
  Heap::peak = before;
  report.Save();
  const auto peak = static_cast<double>(Heap::peak - before);
  PrintRow("memory of Save beyond the tree, N = 20000, against the file", {peak, bytes, peak / bytes},
           "bytes", 1.01);
}

void Mark() {
  OpenMutexW(SYNCHRONIZE, FALSE, L"varnel-mark");  // does not exist; marks the trace
}

// Counts the second operation: work that is done only once does not belong to it.
void CountRequests(HMODULE library, const Agent& agent, std::string_view what) {
  const Report report(library, what.ends_with("server") ? kServer : kAgent, 1);
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX");
  const std::wstring text(500, L'x');
  const std::pair<std::string_view, std::function<void()>> operations[] = {
      {"event", [&] { report.AddBareEvent(); }},
      {"agent", [&] { report.Save(); }},
      {"server", [&] { report.Save(); }},
      {"bare-event", [&] { BareEvent(agent); }},
      {"bare-agent", [&] { BareAgentSave(agent, text, mutex); }},
      {"bare-server", [&] { BareServerSave(agent, text, mutex); }}};
  for (const auto& [name, operation] : operations) {
    if (name != what) continue;
    operation();
    Mark();
    operation();
    Mark();
  }
  CloseHandle(mutex);
}

}  // namespace
}  // namespace varnel::bench

int main(int argc, char** argv) {
  using namespace varnel::bench;
  if (argc == 1) CompareLoading();
  const Agent agent;
  const HMODULE library = LoadLibraryW(_wgetenv(L"VARNEL_DLL"));
  if (argc == 3 && std::string_view(argv[1]) == "--count") {
    CountRequests(library, agent, argv[2]);
  } else if (argc == 2) {
    ComparePeak(library, agent);
  } else {
    CompareEvents(library, agent);
    CompareSaves(library, agent);
  }
  FreeLibrary(library);
  return 0;
}
