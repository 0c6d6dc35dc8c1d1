#include "component/library.h"
#include "support/captured_output.h"

#include <gmock/gmock.h>
#include <ocidl.h>

#include <functional>

namespace varnel::test {
namespace {

// What a foreign caller sees of an object: a pointer to a table of functions.
template <class... Arguments>
HRESULT CallSlot(void* object, std::size_t index, Arguments... arguments) {
  using Method = HRESULT(STDMETHODCALLTYPE*)(void*, Arguments...);
  return reinterpret_cast<Method>((*static_cast<void***>(object))[index])(object, arguments...);
}

// How the event object's destruction slot is called: as the Microsoft compiler calls a member function.
#if defined(__i386__) && defined(__GNUC__)
using Destroy = void*(__attribute__((thiscall)) *)(void*, unsigned);
#else
using Destroy = void* (*)(void*, unsigned);
#endif

// The method in a slot shows in the line that it logs and in what it answers.
struct SlotRow {
  std::size_t slot;
  const char* method;
  const char* logged;  // the start of its line behind the object's identity; empty when it logs none
  HRESULT result;
  std::function<HRESULT(void* object, std::size_t slot)> call;
};

class SlotTest : public ReportTest {
 protected:
  SlotTest() {
    registry.SetNumber(kLog, L"LogLevel", 8);
    report = library.CreateReport();
  }

  void Check(void* object, const SlotRow& row) {
    SCOPED_TRACE(testing::Message() << "slot " << row.slot << " " << row.method);
    HRESULT result = E_UNEXPECTED;
    std::string lines;
    {
      const CapturedOutput output;
      result = row.call(object, row.slot);
      lines = output.Text();
    }
    EXPECT_EQ(row.result, result);
    if (*row.logged)
      EXPECT_THAT(lines, testing::HasSubstr(std::string(" ") + row.logged));
    else
      EXPECT_THAT(lines, testing::Not(testing::HasSubstr(row.method)));
  }
};

HRESULT CallWithSixTexts(void* object, std::size_t slot) {
  const Bstr id(L"ORBASRVR_3500"), root(L"R"), node(L"P"), name(L"N"), version(L"V"), family(L"F");
  return CallSlot<BSTR, BSTR, BSTR, BSTR, BSTR, BSTR>(object, slot, id, root, node, name, version, family);
}

HRESULT CallWithTwoTexts(void* object, std::size_t slot) {
  return CallSlot<BSTR, BSTR>(object, slot, Bstr(L"AGENT"), Bstr(L"xml"));
}

HRESULT CallPlain(void* object, std::size_t slot) {
  return CallSlot(object, slot);
}

// Marks the element that comes back with the slot's number.
HRESULT CallForElement(void* object, std::size_t slot) {
  ComPtr<IEventElement> element;
  const HRESULT result = CallSlot(object, slot, element.Put());
  if (element) element->AddElementInto(Bstr(L"S" + std::to_wstring(slot)), nullptr, nullptr);
  return result;
}

HRESULT CallWithImpossibleDate(void* object, std::size_t slot) {
  return CallSlot<BSTR, long, long, DATE, void*>(object, slot, Bstr(L"Event"), 1, 1, 1e9, nullptr);
}

TEST_F(SlotTest, MethodsOfTheReportStandWhereCallersExpectThem) {
  registry.SetNumber(kFramework, L"AgentMode", 0);
  Check(report.Get(), {18, "Initialize3", "", kNotManaged, CallWithSixTexts});
  registry.SetNumber(kFramework, L"AgentMode", 1);
  const SlotRow rows[] = {
      {8, "DeInitialize", "", E_FAIL, CallPlain},
      {7, "Initialize", "Initialize ", S_OK, CallWithSixTexts},
      {9, "GetMachineElement", "GetMachineElement", S_OK, CallForElement},
      {10, "GetSoftwareElement", "GetSoftwareElement", S_OK, CallForElement},
      {14, "GetMachineElement", "", S_OK, CallForElement},
      {15, "GetSoftwareElement", "", S_OK, CallForElement},
      {11, "CreateEventElement", "CreateEventElement", E_FAIL, CallWithImpossibleDate},
      {16, "CreateEventElement", "CreateEventElement", S_OK, CallWithImpossibleDate},
      {13, "CreateMachineElement", "CreateMachineElement", S_OK,
       [](void* object, std::size_t slot) {
         return CallSlot<BSTR, BSTR, BSTR>(object, slot, nullptr, nullptr, nullptr);
       }},
      {17, "SaveAgentEventOnly", "SaveAgentEventOnly", static_cast<HRESULT>(0xFFFFFFFB), CallWithTwoTexts},
      {12, "Save", "Save", S_OK, CallPlain},
  };
  for (const auto& row : rows) Check(report.Get(), row);
  const std::string saved = OnlyFile(serverEvents);
  EXPECT_THAT(saved, testing::HasSubstr("<MachineInfo><S9></S9><S14></S14><MachineName>"));
  EXPECT_THAT(saved, testing::HasSubstr("ProductFamily=\"F\"><S10></S10><S15></S15><Event>"));
}

TEST_F(SlotTest, MethodsOfAnElementStandWhereCallersExpectThem) {
  ASSERT_EQ(S_OK, Initialize(*report));
  ComPtr<IEventElement> event;
  ASSERT_EQ(S_OK, static_cast<IOrbaEventInf2*>(report.Get())
                      ->CreateEventElement(Bstr(L"E"), 1, 1, kNoon2024, event.Put()));
  void* const object = event.Get();
  const Bstr name(L"A");
  const Bstr value(L"v");
  EXPECT_EQ(S_OK, (CallSlot<BSTR, BSTR>(object, 7, name, value)));
  EXPECT_EQ(S_OK, (CallSlot<BSTR, long>(object, 8, name, 5)));
  EXPECT_EQ(S_OK, (CallSlot<BSTR, BSTR, void*>(object, 9, Bstr(L"Behind"), value, nullptr)));
  EXPECT_EQ(S_OK, (CallSlot<BSTR, BSTR, void*>(object, 10, Bstr(L"Inside"), value, nullptr)));
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  EXPECT_THAT(OnlyFile(agentEvents), testing::HasSubstr("<E A=\"v5\">"));
  EXPECT_THAT(OnlyFile(agentEvents), testing::HasSubstr("<Inside>v</Inside></E><Behind>v</Behind>"));
}

TEST_F(SlotTest, PrimaryTableHasOneSlotForDestructionBeforeTheNotifications) {
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, report->QueryInterface(IID_IConnectionPointContainer, container.PutVoid()));
  void* const object = container.Get();
  for (int i = 0; i < 2; ++i)
    Check(object, {6, "OnFrameworkTerminate", "OnFrameworkTerminate", S_OK, CallPlain});
  // Nobody implements the callback class here.
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  Check(object, {7, "OnFrameworkAvailable", "OnFrameworkAvailable", REGDB_E_CLASSNOTREG, CallPlain});
  CoUninitialize();
  // The destruction slot frees the object whatever its count says; nobody touches the pointers afterwards.
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  (void)container.Detach();
  (void)report.Detach();
  EXPECT_EQ(object, reinterpret_cast<Destroy>((*static_cast<void***>(object))[5])(object, 1));
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

}  // namespace
}  // namespace varnel::test
