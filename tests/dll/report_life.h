#pragma once

#include "dll/watched_heap.h"
#include "support/library.h"

#include <functional>
#include <string>
#include <vector>

namespace varnel::test {

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
  // Calls the method through IDispatch and returns the method's own HRESULT.
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

  // Returns the text with the agent's GUID replaced by the default, which a failing registry call leads to.
  static std::string WithDefaultGuid(const std::string& text) {
    return Replaced(text, std::string(200, 'g'), "{00000000-0000-0000-0000-000000000000}");
  }

  Library library;
};

}  // namespace varnel::test
