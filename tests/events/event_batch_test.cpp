#include "events/event_batch.h"

#include "events/agent_event_file.h"
#include "events/automation_date.h"
#include "events/machine_facts.h"
#include "events/result_codes.h"
#include "events/result_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace varnel {
namespace {

// The least that an element object needs around it to be a COM object.
class PlainElement final : public CEventElement {
 public:
  PlainElement() : CEventElement(&Make) {}
  static ComPtr<CEventElement> Make() { return ComPtr<CEventElement>::Adopt(new PlainElement); }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = FindInterface(iid);
    if (*out) AddRef();
    return *out ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

 private:
  ULONG references_ = 1;
};

EventBatch NewBatch() {
  return BuildEventBatch({L"Root", L"Soft", L"n", L"v", L"f"}, &PlainElement::Make);
}

std::wstring BodyOf(const EventBatch& batch) {
  const std::wstring text = batch.document->ToString(false);
  return text.substr(text.find(L"?>") + 2);
}

BSTR Borrow(const wchar_t* text) {
  return const_cast<BSTR>(text);
}

TEST(ResultText, EveryResultHasWordsOfItsOwn) {
  std::vector<std::wstring> seen = {DescribeResult(E_UNEXPECTED).meaning,
                                    DescribeResult(E_UNEXPECTED).remedy};
  for (const HRESULT code : {E_FAIL, E_OUTOFMEMORY, kAgentNotManaged, kEventDisabled, kEventFileNotWritten,
                             kEventRefused, kBadArgument, kNotAnAgentComponent}) {
    for (const std::wstring text : {DescribeResult(code).meaning, DescribeResult(code).remedy}) {
      EXPECT_EQ(0, std::count(seen.begin(), seen.end(), text)) << std::hex << code;
      seen.push_back(text);
    }
  }
}

TEST(EventBatch, SkeletonHasTheMachineBeforeTheSoftware) {
  EXPECT_EQ(L"<Root><MachineInfo/><Soft ProductName=\"n\" ProductVersion=\"v\" ProductFamily=\"f\"/></Root>",
            BodyOf(NewBatch()));
}

TEST(EventBatch, EventsFollowWhateverStandsInTheSoftwareElement) {
  EventBatch batch = NewBatch();
  AppendEvent(batch, L"A", -5, 0, L"t1");
  batch.softwareElement->AddElement(L"X");
  AppendEvent(batch, L"B", 1, 2, L"t2");
  EXPECT_EQ(
      L"<Root><MachineInfo/><Soft ProductName=\"n\" ProductVersion=\"v\" ProductFamily=\"f\">"
      L"<A><EventID>-5</EventID><Severity>0</Severity><GMTTime>t1</GMTTime></A><X/>"
      L"<B><EventID>1</EventID><Severity>2</Severity><GMTTime>t2</GMTTime></B></Soft></Root>",
      BodyOf(batch));
}

TEST(EventElement, AddsBelowAndBeside) {
  EventBatch batch = NewBatch();
  ComPtr<IEventElement> child;
  EXPECT_EQ(S_OK, batch.machineObject->AddElementInto(Borrow(L"In"), nullptr, child.Put()));
  EXPECT_EQ(S_OK, child->AppendElement(nullptr, Borrow(L"b"), nullptr));
  EXPECT_EQ(S_OK, child->SetAttributeString(nullptr, Borrow(L"x")));
  EXPECT_EQ(S_OK, child->SetAttributeInt(nullptr, std::numeric_limits<LONG>::min()));
  EXPECT_EQ(S_OK, child->SetAttributeString(Borrow(L"N"), nullptr));
  EXPECT_EQ(0u,
            BodyOf(batch).find(L"<Root><MachineInfo><In =\"x-2147483648\" N=\"\"></In><>b</></MachineInfo>"));
}

TEST(EventElement, WithoutAParentAddsNothingBeside) {
  const auto document = std::make_shared<AdvXMLParser::Document>(L"R");
  AdvXMLParser::Element alone(L"E", nullptr);
  const auto object = PlainElement::Make();
  object->Attach(document, &alone);
  ComPtr<IEventElement> nothing;
  EXPECT_EQ(S_OK, object->AppendElement(Borrow(L"A"), Borrow(L"x"), nothing.Put()));
  ASSERT_TRUE(nothing);
  EXPECT_EQ(S_OK, nothing->AddElementInto(Borrow(L"B"), Borrow(L"y"), nullptr));
  EXPECT_EQ(S_OK, nothing->SetAttributeInt(Borrow(L"B"), 1));
  EXPECT_TRUE(alone.Children().empty());
  EXPECT_EQ(L"<R/>", document->ToString(false).substr(38));
}

TEST(EventElement, IsAttachedOnce) {
  EventBatch batch = NewBatch();
  batch.machineObject->Attach(batch.document, batch.softwareElement);
  EXPECT_EQ(S_OK, batch.machineObject->SetAttributeInt(Borrow(L"A"), 1));
  EXPECT_NE(std::wstring::npos, BodyOf(batch).find(L"<MachineInfo A=\"1\"/>"));
}

TEST(AgentEventFile, NameIsTimeRandomPartAndThread) {
  const SYSTEMTIME time{2024, 3, 5, 15, 14, 30, 25, 123};
  struct {
    std::uint32_t random;
    const wchar_t* name;
  } const rows[] = {{232'573'000, L"202403151430251230542000012A4"},
                    {0, L"202403151430251230001000012A4"},
                    {0xFFFFFFFE, L"2024031514302512310000000012A4"},
                    {0xFFFFFFFF, L"2024031514302512310001000012A4"}};
  for (const auto& row : rows) EXPECT_EQ(row.name, AgentEventFileName(time, row.random, 0x12A4));
}

TEST(MachineFacts, BiasAddsDaylightTimeOnly) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.StandardBias = -7;
  zone.DaylightBias = -60;
  EXPECT_EQ(L"-60", TimeZoneBiasFrom(TIME_ZONE_ID_UNKNOWN, zone));
  EXPECT_EQ(L"-60", TimeZoneBiasFrom(TIME_ZONE_ID_STANDARD, zone));
  EXPECT_EQ(L"-120", TimeZoneBiasFrom(TIME_ZONE_ID_DAYLIGHT, zone));
  EXPECT_EQ(L"0", TimeZoneBiasFrom(TIME_ZONE_ID_INVALID, zone));
}

TEST(AutomationDate, IsTakenFromTheYears100To9999) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const DATE bad : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, -657435.0,
                         2958466.0, 2958465.999999, 1e300})
    EXPECT_FALSE(SystemTimeFromDate(bad)) << bad;
  struct {
    DATE date;
    WORD year;
    WORD month;
    WORD day;
    WORD hour;
  } const rows[] = {{0.0, 1899, 12, 30, 0},
                    {45358.5, 2024, 3, 7, 12},
                    {-1.75, 1899, 12, 29, 18},
                    {-657434.0, 100, 1, 1, 0},
                    {2958465.5, 9999, 12, 31, 12}};
  for (const auto& row : rows) {
    const auto time = SystemTimeFromDate(row.date);
    ASSERT_TRUE(time) << row.date;
    EXPECT_EQ(row.year, time->wYear);
    EXPECT_EQ(row.month, time->wMonth);
    EXPECT_EQ(row.day, time->wDay);
    EXPECT_EQ(row.hour, time->wHour);
  }
}

}  // namespace
}  // namespace varnel
