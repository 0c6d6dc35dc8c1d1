#include "component/library.h"

#include <gmock/gmock.h>

#include <cstring>

namespace varnel::test {
namespace {

using testing::HasSubstr;

VARIANT Argument(BSTR text) {
  VARIANT argument;
  V_VT(&argument) = VT_BSTR;
  V_BSTR(&argument) = text;
  return argument;
}

VARIANT Argument(LONG number) {
  VARIANT argument;
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = number;
  return argument;
}

VARIANT Argument(DATE date) {
  VARIANT argument;
  V_VT(&argument) = VT_DATE;
  V_DATE(&argument) = date;
  return argument;
}

// As C++ and Visual Basic pass a typed variable.
VARIANT Argument(IDispatch** place) {
  VARIANT argument;
  V_VT(&argument) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&argument) = place;
  return argument;
}

// As script engines pass a variable.
VARIANT Argument(VARIANT* variable) {
  VARIANT argument;
  V_VT(&argument) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&argument) = variable;
  return argument;
}

VARIANT Argument(VARENUM nothing) {
  VARIANT argument;
  VariantInit(&argument);
  V_VT(&argument) = static_cast<VARTYPE>(nothing);
  V_DISPATCH(&argument) = nullptr;
  return argument;
}

// A variable of a script.
class Variable {
 public:
  Variable() { VariantInit(&value_); }
  ~Variable() { VariantClear(&value_); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  VARIANT* operator&() { return &value_; }
  VARTYPE Type() const { return V_VT(&value_); }
  IDispatch* Object() const { return Type() == VT_DISPATCH ? V_DISPATCH(&value_) : nullptr; }

 private:
  VARIANT value_;
};

struct Failure {
  HRESULT code = S_OK;
  std::wstring source;
  std::wstring description;
};

std::wstring Take(BSTR text) {
  const std::wstring taken(text ? text : L"");
  SysFreeString(text);
  return taken;
}

// Arguments from last to first, as IDispatch wants them; the first of them by name when there are `names`.
// The structure for failures comes as C++ callers leave it: full of rubbish.
HRESULT Invoke(IDispatch* object, DISPID id, std::vector<VARIANT> reversed, std::vector<DISPID> names = {},
               Failure* failure = nullptr) {
  DISPPARAMS parameters{reversed.data(), names.data(), static_cast<UINT>(reversed.size()),
                        static_cast<UINT>(names.size())};
  EXCEPINFO exception;
  std::memset(&exception, 0xCD, sizeof(exception));
  const HRESULT result = object->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr,
                                        &exception, nullptr);
  if (result != DISP_E_EXCEPTION) return result;
  const Failure seen{exception.scode, Take(exception.bstrSource), Take(exception.bstrDescription)};
  EXPECT_EQ(nullptr, exception.bstrHelpFile);
  EXPECT_EQ(0, exception.wCode);
  if (failure) *failure = seen;
  return result;
}

class LateBoundTest : public ReportTest {
 protected:
  LateBoundTest() { EXPECT_EQ(S_OK, Initialize(*report)); }

  std::string Saved() {
    EXPECT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
    return OnlyFile(agentEvents);
  }

  const Bstr name{L"A"};
  const Bstr value{L"v"};
};

TEST_F(LateBoundTest, ElementsAreReachedByDispid) {
  ComPtr<IDispatch> event;
  ASSERT_EQ(S_OK, Invoke(report.Get(), 10,
                         {Argument(event.Put()), Argument(kNoon2024), Argument(LONG{2}), Argument(LONG{1}),
                          Argument(Bstr(L"E"))}));
  EXPECT_EQ(S_OK, Invoke(event.Get(), 5, {Argument(value), Argument(name)}));
  EXPECT_EQ(S_OK, Invoke(event.Get(), 6, {Argument(LONG{3}), Argument(name)}));
  EXPECT_EQ(DISP_E_MEMBERNOTFOUND, Invoke(event.Get(), 7, {}));
  ComPtr<IDispatch> made;
  EXPECT_EQ(S_OK, Invoke(event.Get(), 9, {Argument(made.Put()), Argument(value), Argument(name)}));
  ASSERT_TRUE(made);
  EXPECT_EQ(S_OK, Invoke(made.Get(), 5, {Argument(value), Argument(name)}));
  const std::string saved = Saved();
  EXPECT_THAT(saved, HasSubstr("<E A=\"v3\">"));
  EXPECT_THAT(saved, HasSubstr("<A A=\"v\">v</A></E>"));
}

TEST_F(LateBoundTest, ArgumentsMayBeNamed) {
  const auto element = library.Create<IEventElement>(CLSID_EventElement, IID_IEventElement);
  OLECHAR method[] = L"AddElementInto", text[] = L"strValue", out[] = L"pElement", first[] = L"strName";
  LPOLESTR names[] = {method, text, out, first};
  DISPID ids[4] = {};
  ASSERT_EQ(S_OK, element->GetIDsOfNames(IID_NULL, names, 4, LOCALE_NEUTRAL, ids));
  ComPtr<IEventElement> machine;
  ASSERT_EQ(S_OK, static_cast<IOrbaEventInf2*>(report.Get())->GetMachineElement(machine.Put()));
  Variable made;
  EXPECT_EQ(S_OK, Invoke(machine.Get(), ids[0], {Argument(value), Argument(&made), Argument(name)},
                         {ids[1], ids[2], ids[3]}));
  ASSERT_NE(nullptr, made.Object());
  Variable behind;
  EXPECT_EQ(S_OK,
            Invoke(made.Object(), 8, {Argument(&behind), Argument(name), Argument(Bstr(L"B"))}, {ids[2]}));
  EXPECT_NE(nullptr, behind.Object());
  EXPECT_THAT(Saved(), HasSubstr("<MachineInfo><A>v</A><B>A</B></MachineInfo>"));
}

TEST_F(LateBoundTest, UntypedVariableReceivesAnObjectFromEveryMethodThatHandsOneOut) {
  for (const DISPID id : {3, 4, 8, 9, 5, 10}) {
    SCOPED_TRACE(id);
    const bool makesEvent = id == 5 || id == 10;
    Variable variable;
    V_VT(&variable) = VT_BSTR;  // freed when the object takes its place
    V_BSTR(&variable) = SysAllocString(L"old");
    std::vector<VARIANT> arguments = {Argument(&variable)};
    if (makesEvent)
      for (const VARIANT& more : {Argument(kNoon2024), Argument(LONG{2}), Argument(LONG{1}), Argument(value)})
        arguments.push_back(more);
    ASSERT_EQ(S_OK, Invoke(report.Get(), id, arguments));
    ASSERT_NE(nullptr, variable.Object());
    EXPECT_EQ(S_OK, Invoke(variable.Object(), 6, {Argument(LONG{id}), Argument(name)}));
  }
  const std::string saved = Saved();
  for (const char* const part : {"<MachineInfo A=\"38\"", " A=\"49\"", "<v A=\"5\">", "<v A=\"10\">"})
    EXPECT_THAT(saved, HasSubstr(part));
}

TEST_F(LateBoundTest, ReferencesOfEveryKindReceiveTheObject) {
  for (const DISPID id : {3, 8}) {
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(S_OK, Invoke(report.Get(), id, {Argument(dispatch.Put())}));
    EXPECT_TRUE(dispatch);
    ComPtr<IUnknown> unknown;
    VARIANT typed = Argument(VT_NULL);
    V_VT(&typed) = VT_BYREF | VT_UNKNOWN;
    V_UNKNOWNREF(&typed) = unknown.Put();
    EXPECT_EQ(S_OK, Invoke(report.Get(), id, {typed}));
    EXPECT_TRUE(unknown);
    // Wrapped once more, as a script procedure passes its own by-reference parameter on.
    Variable variable;
    VARIANT wrapped = Argument(&variable);
    EXPECT_EQ(S_OK, Invoke(report.Get(), id, {Argument(&wrapped)}));
    EXPECT_NE(nullptr, variable.Object());
    VARIANT wrappedTyped = Argument(dispatch.Put());
    EXPECT_EQ(S_OK, Invoke(report.Get(), id, {Argument(&wrappedTyped)}));
    EXPECT_TRUE(dispatch);
  }
}

TEST_F(LateBoundTest, UnwantedResultIsReleasedAndAWrongTypeRefused) {
  for (const VARENUM nothing : {VT_EMPTY, VT_NULL, VT_DISPATCH, VT_UNKNOWN})
    EXPECT_EQ(S_OK, Invoke(report.Get(), 8, {Argument(nothing)}));
  EXPECT_EQ(DISP_E_TYPEMISMATCH, Invoke(report.Get(), 8, {Argument(value)}));
  EXPECT_EQ(DISP_E_PARAMNOTOPTIONAL, Invoke(report.Get(), 8, {Argument(VT_ERROR)}));
  EXPECT_EQ(DISP_E_BADPARAMCOUNT, Invoke(report.Get(), 8, {}));
  VARIANT endless = Argument(VT_NULL);
  endless = Argument(&endless);
  const VARIANT nowhere[] = {Argument(static_cast<VARIANT*>(nullptr)),
                             Argument(static_cast<IDispatch**>(nullptr)), endless};
  for (const DISPID id : {3, 8})
    for (const VARIANT& argument : nowhere)
      EXPECT_EQ(DISP_E_TYPEMISMATCH, Invoke(report.Get(), id, {argument}));
  VARIANT some = Argument(VT_NULL);
  for (DISPPARAMS missing : {DISPPARAMS{nullptr, nullptr, 1, 0}, DISPPARAMS{&some, nullptr, 1, 1}})
    EXPECT_EQ(E_POINTER, report->Invoke(8, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &missing, nullptr,
                                        nullptr, nullptr));
  report.Reset();
  EXPECT_EQ(S_OK, library.CanUnloadNow());  // no reference has been lost
}

TEST_F(LateBoundTest, FailureLeavesTheVariableAloneAndTellsWhatToDo) {
  ASSERT_EQ(S_OK, report->DeInitialize());
  Variable variable;
  V_VT(&variable) = VT_BSTR;
  V_BSTR(&variable) = SysAllocString(L"old");
  Failure failure;
  EXPECT_EQ(DISP_E_EXCEPTION, Invoke(report.Get(), 8, {Argument(&variable)}, {}, &failure));
  EXPECT_EQ(VT_BSTR, variable.Type());
  EXPECT_EQ(E_FAIL, failure.code);
  EXPECT_EQ(L"Varnel.OrbaEventInf", failure.source);
  EXPECT_EQ(0u, failure.description.find(L"GetMachineElement: "));
  EXPECT_NE(std::wstring::npos, failure.description.find(L"call Initialize first"));
  const auto element = library.Create<IEventElement>(CLSID_EventElement, IID_IEventElement);
  EXPECT_EQ(DISP_E_EXCEPTION,
            Invoke(element.Get(), 8, {Argument(VT_NULL), Argument(value), Argument(name)}, {}, &failure));
  EXPECT_EQ(L"Varnel.EventElement", failure.source);
}

}  // namespace
}  // namespace varnel::test
