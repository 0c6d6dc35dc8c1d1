#include "component/library.h"
#include "failure/import_hook.h"
#include "support/handle_count.h"

#include <gmock/gmock.h>
#include <ocidl.h>

#include <cstdio>
#include <functional>
#include <set>

namespace varnel::test {
namespace {

// The library's heap: every allocation passes here, whether by new, malloc or SysAllocString. One of them can
// be made to fail. Used by one thread.
class WatchedHeap {
 public:
  explicit WatchedHeap(HMODULE library)
      : malloc_(library, "malloc", Address(&Malloc)),
        calloc_(library, "calloc", Address(&Calloc)),
        realloc_(library, "realloc", Address(&Realloc)),
        free_(library, "free", Address(&Free)),
        sysAlloc_(library, "SysAllocString", Address(&SysAlloc)),
        sysFree_(library, "SysFreeString", Address(&SysFree)) {}

  // 1 for the next allocation; 0 for none.
  void FailAllocation(int number) { untilFailure_ = number; }
  bool HasFailed() const { return untilFailure_ < 0; }
  std::size_t LiveBlocks() const { return live_.size(); }
  // For what the library has handed out.
  static void FreeText(BSTR text) { SysFree(text); }

 private:
  template <class Function>
  static void* Address(Function* function) {
    return reinterpret_cast<void*>(function);
  }
  static bool FailsNow() {
    if (untilFailure_ <= 0 || --untilFailure_ > 0) return false;
    untilFailure_ = -1;
    return true;
  }
  template <class Pointer>
  static Pointer Keep(Pointer block) {
    if (block) live_.insert(block);
    return block;
  }
  static void* Malloc(std::size_t size) { return FailsNow() ? nullptr : Keep(std::malloc(size)); }
  static void* Calloc(std::size_t count, std::size_t size) {
    return FailsNow() ? nullptr : Keep(std::calloc(count, size));
  }
  static void* Realloc(void* block, std::size_t size) {
    if (FailsNow()) return nullptr;
    live_.erase(block);
    return Keep(std::realloc(block, size));
  }
  static void Free(void* block) {
    live_.erase(block);
    std::free(block);
  }
  static BSTR WINAPI SysAlloc(const OLECHAR* text) {
    return FailsNow() ? nullptr : Keep(SysAllocString(text));
  }
  static void WINAPI SysFree(BSTR text) {
    live_.erase(text);
    SysFreeString(text);
  }

  static inline int untilFailure_ = 0;
  static inline std::set<void*> live_;
  ImportHook malloc_, calloc_, realloc_, free_, sysAlloc_, sysFree_;
};

class AllocationFailure : public AgentTest {
 protected:
  AllocationFailure() {
    registry.SetText(kFramework, L"AgentGUID", std::wstring(200, L'g'));  // needs a buffer of its own
    registry.SetText(kLog, L"LogDetailList", L"one;two");
    registry.SetText(kLog, L"LogFlags", L"U");
    folder.MakeFolder(L"data");
    WriteBytes(folder.File(L"data\\EvtFiltr.ini"), "DisabledEvent=77;");
    CreateDirectoryW(serverEvents.c_str(), nullptr);
  }

  // Memory is short for one allocation only: a call that failed for it succeeds when it is made again.
  void Step(const char* name, const std::function<HRESULT()>& call) {
    const HRESULT result = call();
    if (result == S_OK) return;
    SCOPED_TRACE(name);
    EXPECT_TRUE(heap.HasFailed());
    EXPECT_EQ(E_OUTOFMEMORY, result);
    EXPECT_EQ(S_OK, call());
    ++refused;
  }

  void FillEvent(IOrbaEventInf3& report) {
    ComPtr<IEventElement> event;
    Step("CreateEventElement", [&] {
      IOrbaEventInf2& typed = report;
      return typed.CreateEventElement(Bstr(L"Event"), 1, 1, kNoon2024, event.Put());
    });
    const Bstr name(L"AttributeWithAName");
    const Bstr text(L"a text that fits no small buffer, wherever there may be one");
    Step("SetAttributeString", [&] { return event->SetAttributeString(name, text); });
    Step("SetAttributeInt", [&] { return event->SetAttributeInt(Bstr(L"N"), 123456789); });
    ComPtr<IEventElement> child;
    Step("AddElementInto", [&] { return event->AddElementInto(name, text, child.Put()); });
    Step("AppendElement", [&] { return event->AppendElement(name, text, nullptr); });
    Step("SetAttributeString", [&] { return child->SetAttributeString(text, name); });
  }

  // As a script does it, failure included: its description may be missing when there is no memory.
  void CallLateBound(IOrbaEventInf3& report) {
    VARIANT variable;
    VariantInit(&variable);
    VARIANT argument;
    V_VT(&argument) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&argument) = &variable;
    DISPPARAMS parameters{&argument, nullptr, 1, 0};
    EXCEPINFO exception{};
    const auto invoke = [&](DISPID id, DISPPARAMS& with) {
      return report.Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &with, nullptr, &exception,
                           nullptr);
    };
    Step("Invoke", [&] { return invoke(8, parameters); });
    VariantClear(&variable);
    const Bstr other(L"OTHER");
    VARIANT texts[2];
    for (auto& text : texts) {
      V_VT(&text) = VT_BSTR;
      V_BSTR(&text) = other;
    }
    DISPPARAMS failing{texts, nullptr, 2, 0};
    Step("Invoke of a failing method", [&] {
      const HRESULT result = invoke(11, failing);
      if (result != DISP_E_EXCEPTION) return result;
      EXPECT_EQ(static_cast<HRESULT>(0xFFFFFFFB), exception.scode);
      WatchedHeap::FreeText(exception.bstrSource);
      WatchedHeap::FreeText(exception.bstrDescription);
      return S_OK;
    });
  }

  // A whole life of a report; returns what both savers wrote, one after the other.
  std::string Report() {
    ComPtr<IClassFactory> factory;
    Step("DllGetClassObject",
         [&] { return library.GetClassObject(CLSID_OrbaEventInf, IID_IClassFactory, factory.PutVoid()); });
    ComPtr<IOrbaEventInf3> report;
    Step("CreateInstance",
         [&] { return factory->CreateInstance(nullptr, IID_IOrbaEventInf3, report.PutVoid()); });
    Step("Initialize", [&] { return Initialize(*report, L"ORBASRVR_3500"); });
    Step("CreateMachineElement",
         [&] { return report->CreateMachineElement(nullptr, Bstr(L"Some OS"), Bstr(L"somebody")); });
    FillEvent(*report);
    CallLateBound(*report);
    ComPtr<IConnectionPointContainer> container;
    report->QueryInterface(IID_IConnectionPointContainer, container.PutVoid());
    ComPtr<IEnumConnectionPoints> points;
    Step("EnumConnectionPoints", [&] { return container->EnumConnectionPoints(points.Put()); });
    Step("Save", [&] { return report->Save(); });
    Step("SaveAgentEventOnly", [&] { return report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")); });
    Step("DeInitialize", [&] { return report->DeInitialize(); });
    return TakeFile(serverEvents) + TakeFile(agentEvents);
  }

  static std::string TakeFile(const std::wstring& where) {
    const std::string bytes = OnlyFile(where);
    for (const auto& file : FilesIn(where)) DeleteFileW((where + L"\\" + file).c_str());
    return bytes;
  }

  Library library;
  WatchedHeap heap{GetModuleHandleW(L"varnel.dll")};
  int refused = 0;
};

std::string WithDefaultGuid(std::string text) {
  const std::string given(200, 'g');
  for (auto at = text.find(given); at != std::string::npos; at = text.find(given))
    text.replace(at, given.size(), "{00000000-0000-0000-0000-000000000000}");
  return text;
}

// What the library makes once and keeps: every run needs one that has just been loaded.
TEST(FirstAllocations, CanFailAndBeMadeAgain) {
  const RegistrySandbox registry;
  int points = 0;
  for (bool failed = true; failed; ++points) {
    const Library library;
    WatchedHeap heap(GetModuleHandleW(L"varnel.dll"));
    heap.FailAllocation(points + 1);
    const auto twice = [&](const std::function<HRESULT()>& call) {
      const HRESULT result = call();
      EXPECT_TRUE(result == S_OK || (result == E_OUTOFMEMORY && heap.HasFailed() && call() == S_OK));
    };
    ComPtr<IClassFactory> factory;
    twice([&] { return library.GetClassObject(CLSID_EventElement, IID_IClassFactory, factory.PutVoid()); });
    ComPtr<IDispatch> element;
    twice([&] { return factory->CreateInstance(nullptr, IID_IDispatch, element.PutVoid()); });
    ComPtr<ITypeInfo> info;
    twice([&] { return element->GetTypeInfo(0, LOCALE_NEUTRAL, info.Put()); });
    failed = heap.HasFailed();
  }
  EXPECT_LT(3, points);
}

TEST_F(AllocationFailure, AtAnyPointIsAnAnswerAndLosesNothing) {
  const std::string whole = Report();
  ASSERT_NE(whole, WithDefaultGuid(whole));
  heap.FailAllocation(5);  // the runtime keeps some memory from the first exception on
  Report();
  const std::size_t live = heap.LiveBlocks();
  const int handles = CountHandles();
  int points = 0;
  for (;; ++points) {
    SCOPED_TRACE(testing::Message() << "allocation " << points + 1);
    heap.FailAllocation(points + 1);
    const std::string saved = Report();
    if (!heap.HasFailed()) break;
    // The identifier has a default for when it cannot be read.
    EXPECT_TRUE(saved == whole || saved == WithDefaultGuid(whole)) << saved;
    ASSERT_EQ(live, heap.LiveBlocks());
    ASSERT_EQ(handles, CountHandles());
    ASSERT_FALSE(HasFailure());
  }
  heap.FailAllocation(0);
  EXPECT_LT(100, points);
  std::printf("figures: allocation failure: %d points, %d calls refused, no block lost\n", points, refused);
}

}  // namespace
}  // namespace varnel::test
