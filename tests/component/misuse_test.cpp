#include "component/library.h"

#include <array>
#include <functional>
#include <thread>

namespace varnel::test {
namespace {

using Report = IOrbaEventInf3;
constexpr std::size_t kThreads = 4;
constexpr HRESULT kBadArgument = static_cast<HRESULT>(0xFFFFFFF3);
constexpr HRESULT kNoPrefix = static_cast<HRESULT>(0xFFFFFFFB);
constexpr DATE kNoDate = 1e9;

// Runs the work on four threads at once; each is told its number.
void OnThreads(const std::function<void(std::size_t)>& work) {
  std::array<std::thread, kThreads> threads;
  for (std::size_t i = 0; i < kThreads; ++i) threads[i] = std::thread(work, i);
  for (auto& thread : threads) thread.join();
}

// Made right after something was freed, these blocks lie where it was: whoever still uses it takes rubbish
// for a pointer or changes a block.
class FreedMemory {
 public:
  FreedMemory() {
    for (std::size_t size = 16; size <= 1024; size += 16)
      blocks_.insert(blocks_.end(), 16, std::string(size, kRubbish));
  }
  ~FreedMemory() {
    for (const auto& block : blocks_) EXPECT_EQ(block.npos, block.find_first_not_of(kRubbish));
  }

 private:
  static constexpr char kRubbish = '\xDD';
  std::vector<std::string> blocks_;
};

// Calls with an out pointer, which must be written on success and left alone on failure.
template <class Interface, class Function>
HRESULT WithOut(const Function& call) {
  static char place;
  auto* const untouched = reinterpret_cast<Interface*>(&place);
  Interface* out = untouched;
  const HRESULT result = call(&out);
  EXPECT_EQ(FAILED(result), out == untouched);
  if (out && out != untouched) out->Release();
  return result;
}

// The two versions of a method differ in their interface and in the type of what they hand out.
template <class Version, class Out>
using Getter = HRESULT (STDMETHODCALLTYPE Version::*)(Out**);

HRESULT Get(Getter<IOrbaEventInf, IUnknown> first, Getter<IOrbaEventInf2, IEventElement> second,
            Report& report) {
  EXPECT_TRUE(FAILED((report.*first)(nullptr)));
  EXPECT_TRUE(FAILED((report.*second)(nullptr)));
  const HRESULT result = WithOut<IUnknown>([&](IUnknown** out) { return (report.*first)(out); });
  EXPECT_EQ(result, WithOut<IEventElement>([&](IEventElement** out) { return (report.*second)(out); }));
  return result;
}

template <class Version, class Out>
HRESULT CreateIn(Version& report, const wchar_t* name, long id, DATE date) {
  const auto create = [&](Out** out) { return report.CreateEventElement(Bstr(name), id, 1, date, out); };
  const HRESULT result = create(nullptr);
  EXPECT_EQ(result, WithOut<Out>(create));
  return result;
}
HRESULT Create(Report& report, const wchar_t* name, long id) {
  const HRESULT result = CreateIn<IOrbaEventInf, IUnknown>(report, name, id, kNoon2024);
  EXPECT_EQ(result, (CreateIn<IOrbaEventInf2, IEventElement>(report, name, id, kNoon2024)));
  return result;
}

using Initializer = HRESULT (STDMETHODCALLTYPE Report::*)(BSTR, BSTR, BSTR, BSTR, BSTR, BSTR);
constexpr std::size_t kNothing = 6;

HRESULT InitializeWithout(std::size_t missing, Initializer method, Report& report) {
  const Bstr texts[] = {L"EXAMPLE", L"Root", L"Product", L"Name", L"1.2", L"Family"};
  std::array<BSTR, 6> given;
  for (std::size_t i = 0; i < 6; ++i) given[i] = i == missing ? nullptr : BSTR(texts[i]);
  return (report.*method)(given[0], given[1], given[2], given[3], given[4], given[5]);
}
HRESULT InitializeIncompletely(Initializer method, Report& report) {
  for (std::size_t missing = 1; missing < 6; ++missing)
    EXPECT_EQ(InitializeWithout(0, method, report), InitializeWithout(missing, method, report)) << missing;
  return InitializeWithout(0, method, report);
}

HRESULT AgentSave(Report& report, const wchar_t* softwareId, const wchar_t* extension) {
  return report.SaveAgentEventOnly(Bstr(softwareId), Bstr(extension));
}

// The steps of a report's life.
HRESULT Begin(Report& report) {
  return InitializeWithout(kNothing, &Report::Initialize, report);
}
HRESULT BeginGated(Report& report) {
  return InitializeWithout(kNothing, &Report::Initialize3, report);
}
HRESULT BeginIncompletely(Report& report) {
  return InitializeWithout(3, &Report::Initialize, report);
}
HRESULT Complete(Report& report) {
  Fill(report);
  return report.Save();
}
HRESULT End(Report& report) {
  return report.DeInitialize();
}

// What a report can be when it is misused.
enum State { kBefore, kReady, kEnded, kGated };

struct Call {
  const char* name;
  HRESULT results[kGated];  // by state; a gated report answers kNotManaged to everything
  HRESULT (*make)(Report& report);
};

// In an order in which no call takes the report out of its state before the last ones do.
const Call kCalls[] = {
    {"Save", {E_FAIL, E_FAIL, E_FAIL}, [](Report& r) { return r.Save(); }},
    {"machine",
     {E_FAIL, S_OK, E_FAIL},
     [](Report& r) { return Get(&IOrbaEventInf::GetMachineElement, &IOrbaEventInf2::GetMachineElement, r); }},
    {"software",
     {E_FAIL, S_OK, E_FAIL},
     [](Report& r) {
       return Get(&IOrbaEventInf::GetSoftwareElement, &IOrbaEventInf2::GetSoftwareElement, r);
     }},
    {"event", {E_FAIL, S_OK, E_FAIL}, [](Report& r) { return Create(r, L"E", 1); }},
    {"event without name", {E_FAIL, E_FAIL, E_FAIL}, [](Report& r) { return Create(r, nullptr, 1); }},
    {"event zero", {E_FAIL, E_FAIL, E_FAIL}, [](Report& r) { return Create(r, L"E", 0); }},
    {"event of no date",
     {E_FAIL, E_FAIL, E_FAIL},
     [](Report& r) { return CreateIn<IOrbaEventInf, IUnknown>(r, L"E", 1, kNoDate); }},
    {"typed event of no date",
     {E_FAIL, S_OK, E_FAIL},
     [](Report& r) { return CreateIn<IOrbaEventInf2, IEventElement>(r, L"E", 1, kNoDate); }},
    {"agent save",
     {kBadArgument, S_OK, E_FAIL},
     [](Report& r) { return AgentSave(r, L"ORBAAGENT", L"xml"); }},
    {"agent save without extension",
     {E_FAIL, S_OK, E_FAIL},
     [](Report& r) { return AgentSave(r, L"ORBAAGENT", L""); }},
    {"agent save of a long extension",
     {kBadArgument, kBadArgument, kBadArgument},
     [](Report& r) { return AgentSave(r, L"ORBAAGENT", std::wstring(201, L'x').c_str()); }},
    {"agent save of null",
     {kBadArgument, kBadArgument, kBadArgument},
     [](Report& r) { return AgentSave(r, nullptr, L""); }},
    {"agent save with null",
     {kBadArgument, kBadArgument, kBadArgument},
     [](Report& r) { return AgentSave(r, L"ORBAAGENT", nullptr); }},
    {"agent save of others",
     {kNoPrefix, kNoPrefix, kNoPrefix},
     [](Report& r) { return AgentSave(r, L"AGENT", L""); }},
    {"CreateMachineElement",
     {E_FAIL, S_OK, E_FAIL},
     [](Report& r) { return r.CreateMachineElement(nullptr, nullptr, nullptr); }},
    {"Initialize incompletely",
     {E_FAIL, E_FAIL, E_FAIL},
     [](Report& r) { return InitializeIncompletely(&Report::Initialize, r); }},
    {"DeInitialize", {E_FAIL, S_OK, S_OK}, [](Report& r) { return r.DeInitialize(); }},
    {"Initialize", {S_OK, S_OK, S_OK}, Begin},
    {"Initialize3 incompletely",
     {E_FAIL, E_FAIL, E_FAIL},
     [](Report& r) { return InitializeIncompletely(&Report::Initialize3, r); }},
    {"Initialize3", {S_OK, S_OK, S_OK}, BeginGated},
};

// A way into a state.
struct Way {
  const char* name;
  State state;
  std::vector<HRESULT (*)(Report& report)> steps;
  std::vector<HRESULT> results;
  const char* filter = "DisabledEvent=7;";
  DWORD agentMode = 1;  // while the steps are taken
};
void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

class MisusedReport : public ReportTest, public testing::WithParamInterface<Way> {
 protected:
  ComPtr<Report> Make() {
    auto made = library.CreateReport();
    for (std::size_t i = 0; i < GetParam().steps.size(); ++i)
      EXPECT_EQ(GetParam().results[i], GetParam().steps[i](*made)) << "step " << i;
    return made;
  }
  void SetAgent(const char* filter, DWORD mode) {
    WriteBytes(filter_, filter);
    registry.SetNumber(kFramework, L"AgentMode", mode);
  }

 private:
  const std::wstring filter_ = folder.MakeFolder(L"data") + L"\\EvtFiltr.ini";
};

TEST_P(MisusedReport, AnswersAsDocumentedAndStaysUsable) {
  const Way& way = GetParam();
  SetAgent(way.filter, way.agentMode);
  std::vector<ComPtr<Report>> reports;
  while (reports.size() < kThreads) reports.push_back(Make());
  const std::size_t saved = FilesIn(agentEvents).size();
  {
    SetAgent("-", way.state == kGated ? 0 : 1);
    const FreedMemory freed;
    OnThreads([&](std::size_t thread) {
      for (const Call& call : kCalls) {
        SCOPED_TRACE(call.name);
        EXPECT_EQ(way.state == kGated ? kNotManaged : call.results[way.state], call.make(*reports[thread]));
      }
    });
  }
  EXPECT_EQ(saved + (way.state == kReady ? 2 * kThreads : 0), FilesIn(agentEvents).size());
  SetAgent("-", 1);
  for (const auto& misused : reports) {
    EXPECT_EQ(S_OK, Begin(*misused));
    EXPECT_EQ(S_OK, Complete(*misused));
  }
}

INSTANTIATE_TEST_SUITE_P(
    , MisusedReport,
    testing::Values(Way{"Untouched", kBefore, {}, {}},
                    Way{"RefusedForAnArgument", kBefore, {BeginIncompletely}, {E_FAIL}},
                    Way{"RefusedByTheFilter", kBefore, {Begin}, {kDisabled}, "DisabledEvent=0;"},
                    Way{"Begun", kReady, {Begin}, {S_OK}},
                    Way{"BegunTwice", kReady, {Begin, Begin}, {S_OK, S_OK}},
                    Way{"RefusedWhenBegun", kReady, {Begin, BeginIncompletely}, {S_OK, E_FAIL}},
                    Way{"BegunAgainAfterItsEnd", kReady, {Begin, End, Begin}, {S_OK, S_OK, S_OK}},
                    Way{"Ended", kEnded, {Begin, Complete, End}, {S_OK, S_OK, S_OK}},
                    Way{"EndedTwice", kEnded, {Begin, End, End}, {S_OK, S_OK, S_OK}},
                    Way{"RefusedAfterItsEnd", kEnded, {Begin, End, BeginIncompletely}, {S_OK, S_OK, E_FAIL}},
                    Way{"Gated", kGated, {BeginGated}, {kNotManaged}, "-", 0},
                    Way{"GatedLater", kGated, {BeginGated, Complete}, {S_OK, S_OK}}),
    [](const auto& row) { return std::string(row.param.name); });

struct ElementWay {
  const char* name;
  void (*leave)(ComPtr<Report>& owner);
  HRESULT result;
};
void PrintTo(const ElementWay& way, std::ostream* out) {
  *out << way.name;
}

class MisusedElement : public ReportTest, public testing::WithParamInterface<ElementWay> {
 protected:
  // Elements of every origin.
  static std::vector<ComPtr<IEventElement>> ElementsOf(IOrbaEventInf2& report) {
    std::vector<ComPtr<IEventElement>> elements(5);
    EXPECT_EQ(S_OK, report.GetMachineElement(elements[0].Put()));
    EXPECT_EQ(S_OK, report.GetSoftwareElement(elements[1].Put()));
    EXPECT_EQ(S_OK, report.CreateEventElement(Bstr(L"E"), 1, 1, kNoon2024, elements[2].Put()));
    EXPECT_EQ(S_OK, elements[2]->AddElementInto(Bstr(L"C"), Bstr(L"x"), elements[3].Put()));
    EXPECT_EQ(S_OK, elements[3]->AppendElement(Bstr(L"S"), Bstr(L"x"), elements[4].Put()));
    return elements;
  }
};

// Attributes of an element that is attached to nothing are taken and dropped, hence two results.
void ExpectAnswers(IEventElement& element, HRESULT setting, HRESULT adding) {
  const Bstr name(L"A");
  for (const BSTR text : {BSTR(nullptr), BSTR(name)}) {
    EXPECT_EQ(setting, element.SetAttributeString(text, text));
    EXPECT_EQ(setting, element.SetAttributeInt(text, -1));
    EXPECT_EQ(adding, element.AppendElement(text, text, nullptr));
    EXPECT_EQ(adding, element.AddElementInto(text, text, nullptr));
    using Out = IEventElement**;
    EXPECT_EQ(adding,
              WithOut<IEventElement>([&](Out out) { return element.AppendElement(text, text, out); }));
    EXPECT_EQ(adding,
              WithOut<IEventElement>([&](Out out) { return element.AddElementInto(text, text, out); }));
  }
}

TEST_P(MisusedElement, AnswersWithoutTouchingWhatIsGone) {
  OnThreads([&](std::size_t) {
    auto owner = library.CreateReport();
    ASSERT_EQ(S_OK, Begin(*owner));
    const auto elements = ElementsOf(*owner);
    GetParam().leave(owner);
    const FreedMemory freed;
    for (const auto& element : elements) ExpectAnswers(*element, GetParam().result, GetParam().result);
  });
}

INSTANTIATE_TEST_SUITE_P(
    , MisusedElement,
    testing::Values(
        ElementWay{"OfALivingReport", [](auto&) {}, S_OK},
        ElementWay{"AfterDeInitialize", [](auto& owner) { EXPECT_EQ(S_OK, End(*owner)); }, E_FAIL},
        ElementWay{"AfterTheFinalRelease", [](auto& owner) { owner.Reset(); }, E_FAIL},
        ElementWay{"AfterASecondInitialize", [](auto& owner) { EXPECT_EQ(S_OK, Begin(*owner)); }, S_OK},
        ElementWay{"AfterASecondInitializeAndItsEnd",
                   [](auto& owner) {
                     EXPECT_EQ(S_OK, Begin(*owner));
                     EXPECT_EQ(S_OK, End(*owner));
                   },
                   E_FAIL},
        ElementWay{"AfterASecondInitializeAndTheFinalRelease",
                   [](auto& owner) {
                     EXPECT_EQ(S_OK, Begin(*owner));
                     owner.Reset();
                   },
                   E_FAIL}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ReportTest, ElementsFromTheClassFactoryBelongToNoDocument) {
  OnThreads([&](std::size_t) {
    const auto element = library.Create<IEventElement>(CLSID_EventElement, IID_IEventElement);
    ExpectAnswers(*element, S_OK, E_FAIL);
  });
}

}  // namespace
}  // namespace varnel::test
