// What a client of the C++ header gets into its reports, and what it is told when something is wrong. The
// library is the real one, opened by its path.

#include "support/library.h"
#include "varnel/varnel.hpp"

#include <gmock/gmock.h>

#include <functional>
#include <limits>

namespace varnel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

constexpr TimePoint At(long long milliseconds) {
  return TimePoint(std::chrono::milliseconds(milliseconds));
}
constexpr TimePoint kSomeTime = At(1'709'802'303'999);

std::string ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  }
  return "no error";
}

class ClientReport : public AgentTest {
 protected:
  static Product SomeProduct() { return {kAgent, "Root", L"Product", "Name", L"1.2", "Family"}; }
  // What was saved, from the software element on.
  std::string TakeSaved() const {
    const std::string saved = TakeFiles(agentEvents);
    return saved.substr(std::min(saved.find("<Product "), saved.size()));
  }
  void ExpectSaved(const std::string& events) {
    EXPECT_EQ("<Product ProductName=\"Name\" ProductVersion=\"1.2\" ProductFamily=\"Family\">" + events +
                  "</Product></Root>",
              TakeSaved());
  }

  varnel::Library library = varnel::Library::FromFile(Library::Path().c_str());
};

TEST_F(ClientReport, SavesWhatWasSaidInUtf8AndInUtf16) {
  varnel::Report report(library, SomeProduct());
  report.AddMachine({L"OS \u2122", "R\xC3\xA9n\xC3\xA9"});
  const Element event = report.AddEvent(u8"Found", 1024, -3, kSomeTime).SetAttribute("Utf8", "\xC3\xA9<");
  event.SetAttribute(L"Utf8", std::wstring(L"\xD83D\xDE00"));
  event.SetAttribute("Short", short{-1}).SetAttribute("Long", 2147483647L).SetAttribute("Size", 4294967295u);
  event.SetAttribute("Least", std::numeric_limits<long long>::min()).SetAttribute("Most", ~0ull);
  const Element child = event.AddChild(L"Child", std::string_view("value and more", 5));
  child.AddChild("Below").SetAttribute("A", L"");
  child.AddSibling("Beside", nullptr);
  report.ProductElement().AddChild("Own", "1");
  report.MachineElement().AddChild("Rack", "7");
  report.Save();
  const std::string saved = TakeFiles(agentEvents);
  EXPECT_THAT(saved, HasSubstr("<OSName>OS \xE2\x84\xA2</OSName><UserName>R\xC3\xA9n\xC3\xA9</UserName>"));
  EXPECT_THAT(saved, HasSubstr("<Rack>7</Rack><RawMACAddress>"));
  EXPECT_THAT(saved,
              HasSubstr("<Found Utf8=\"\xC3\xA9&lt;\xF0\x9F\x98\x80\" Short=\"-1\" Long=\"2147483647\" "
                        "Size=\"4294967295\" Least=\"-9223372036854775808\" Most=\"18446744073709551615\">"
                        "<EventID>1024</EventID><Severity>-3</Severity><GMTTime>2024-03-07T09:05:03</GMTTime>"
                        "<Child>value<Below A=\"\"></Below></Child><Beside></Beside></Found><Own>1</Own>"));
}

TEST_F(ClientReport, TimesAreCutToTheSecond) {
  const std::pair<TimePoint, const char*> rows[] = {{At(0), "1970-01-01T00:00:00"},
                                                    {At(-1), "1969-12-31T23:59:59"},
                                                    {At(86'399'999), "1970-01-01T23:59:59"},
                                                    {At(1'709'164'800'500), "2024-02-29T00:00:00"},
                                                    // both sides of the day that Automation counts from
                                                    {At(-2'209'161'599'000), "1899-12-30T00:00:01"},
                                                    {At(-2'209'211'100'000), "1899-12-29T10:15:00"},
                                                    {At(-59'011'459'200'000), "0100-01-01T00:00:00"},
                                                    {At(253'402'300'799'999), "9999-12-31T23:59:59"}};
  const varnel::Report report(library, SomeProduct());
  report.AddMachine();
  for (const auto& row : rows) report.AddEvent("E", 1, 1, row.first);
  for (const long long outside : {-59'011'459'200'001, 253'402'300'800'000, -9'000'000'000'000'000'000})
    EXPECT_EQ(kBadTime, report.TryAddEvent("E", 1, 1, At(outside)));
  using Hours = std::chrono::time_point<std::chrono::system_clock, std::chrono::hours>;
  for (const Hours farthest : {Hours::min(), Hours::max()})
    EXPECT_EQ(kBadTime, report.TryAddEvent("E", 1, 1, farthest)) << "in seconds it is no number";
  report.Save();
  std::string expected;
  for (const auto& row : rows)
    expected +=
        std::string("<E><EventID>1</EventID><Severity>1</Severity><GMTTime>") + row.second + "</GMTTime></E>";
  ExpectSaved(expected);
}

TEST_F(ClientReport, BadTextsAreRefusedOrRepaired) {
  struct Row {
    std::wstring text;
    const char* repaired;
  };
  const Row rows[] = {{L"a\xD83D", "a\xEF\xBF\xBD"},
                      {L"\xDE00z", "\xEF\xBF\xBDz"},
                      {L"\xD83D\xD83D\xDE00", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
                      {{L'a', L'\0', L'-'}, "a\xEF\xBF\xBD-"},
                      {L"\x1F\x08", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                      {L"\xFFFE", "\xEF\xBF\xBD"},
                      {L"\xFFFF", "\xEF\xBF\xBD"}};
  const varnel::Report report(library, SomeProduct());
  report.AddMachine();
  const Element event = report.AddEvent("E", 1, 1, kSomeTime);
  std::string expected;
  for (const auto& row : rows) {
    EXPECT_EQ(kBadText, event.TrySetAttribute("A", row.text));
    EXPECT_EQ(kBadText, event.TryAddChild(Text(row.text)));
    event.AddChild("C", Text::Repaired(row.text));
    expected += std::string("<C>") + row.repaired + "</C>";
  }
  for (const std::string_view utf8 : {"a\xFF", "\xC3", "\xED\xA0\xBD", "\xC0\x80"}) {
    EXPECT_EQ(kBadText, event.TrySetAttribute("A", utf8)) << utf8;
    EXPECT_EQ(S_OK, Text::Repaired(utf8).Status()) << utf8;
  }
  EXPECT_EQ(nullptr, Text::Repaired(static_cast<const char*>(nullptr)).Get());
  EXPECT_EQ(nullptr, Text::Repaired(static_cast<const char8_t*>(nullptr)).Get());
  EXPECT_EQ(S_OK, event.TrySetAttribute("Kept", "\t\r\n \x7F\xEF\xBF\xBD"));
  // In each place where a text is taken.
  const Text bad(L"\xD800");
  EXPECT_EQ(kBadText, report.TryAddMachine({nullptr, L"\xD800"}));
  EXPECT_EQ(kBadText, report.TrySaveAgentEventOnly("ORBAAGENT", bad));
  EXPECT_EQ(kBadText, report.TryAddEvent(bad, 1, 1));
  EXPECT_EQ(kBadText, varnel::Report().TryOpen(library, {kAgent, "R", "P", "", L"\xD800", ""}));
  report.Save();
  ExpectSaved(
      "<E Kept=\"\t\r\n \x7F\xEF\xBF\xBD\"><EventID>1</EventID><Severity>1</Severity>"
      "<GMTTime>2024-03-07T09:05:03</GMTTime>" +
      expected + "</E>");
}

TEST_F(ClientReport, NamesAreXmlNames) {
  const varnel::Report report(library, SomeProduct());
  const Element event = report.AddEvent("E", 1, 1);
  for (const wchar_t* const name :
       {L"a", L"_", L"a-b.c_9", L"\u00C9t\u00E9", L"a\u00B7\u0301", L"\u4E8B\u4EF6", L"\xD840\xDC00"})
    EXPECT_EQ(S_OK, event.TryAddChild(name)) << Narrow(name);
  for (const wchar_t* const name : {L"", L"1", L"-a", L".", L"a b", L"a<", L"a/", L"a:b", L"xmlns", L"a=",
                                    L"a\u00D7", L"\u0301", L"\uE000", L"\xDBC0\xDC00"}) {
    EXPECT_EQ(kBadName, event.TryAddChild(name)) << Narrow(name);
    EXPECT_EQ(kBadName, event.TryAddSibling(name));
    EXPECT_EQ(kBadName, event.TrySetAttribute(name, "x"));
    EXPECT_EQ(kBadName, event.TrySetAttribute(name, 1));
    EXPECT_EQ(kBadName, report.TryAddEvent(name, 1, 1));
    EXPECT_EQ(kBadName, varnel::Report().TryOpen(library, {kAgent, name, "P", "", "", ""}));
    EXPECT_EQ(kBadName, varnel::Report().TryOpen(library, {kAgent, "R", name, "", "", ""}));
  }
}

TEST_F(ClientReport, CallsOutOfOrderSayWhatToDo) {
  varnel::Report empty;
  varnel::Report report(library, SomeProduct());
  const Element event = report.AddEvent("E", 1, 1);
  Product incomplete = SomeProduct();
  incomplete.family = nullptr;
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"Save", [&] { empty.Save(); }},
      {"AddMachine", [&] { empty.AddMachine(); }},
      {"AddEvent", [&] { empty.AddEvent("E", 1, 1); }},
      {"MachineElement", [&] { empty.MachineElement(); }},
      {"ProductElement", [&] { empty.ProductElement(); }},
      {"SaveAgentEventOnly", [&] { empty.SaveAgentEventOnly("ORBAAGENT", "xml"); }},
      {"Close", [&] { empty.Close(); }},
      {"AddChild", [] { Element().AddChild("C"); }},
      {"SetAttribute", [] { Element().SetAttribute("A", 1); }},
      {"Report", [&] { varnel::Report(library, incomplete); }},
      {"Save", [&] { report.Save(); }},
      {"AddSibling", [&] { report.Close(), event.AddSibling("S"); }}};
  for (const auto& [call, action] : calls)
    EXPECT_THAT(ErrorOf(action),
                AllOf(StartsWith(call), HasSubstr("out of order"), HasSubstr("call Initialize first")));
}

TEST_F(ClientReport, OpeningThatFailsLeavesTheReportThatWasOpen) {
  varnel::Report report(library, SomeProduct());
  report.AddMachine();
  report.AddEvent("First", 1, 1, kSomeTime);
  Product bad = SomeProduct();
  bad.softwareId = nullptr;
  EXPECT_EQ(E_FAIL, report.TryOpen(library, bad));
  report.Save();
  EXPECT_THAT(TakeSaved(), HasSubstr("<First>"));
  EXPECT_EQ(S_OK, report.TryOpen(library, SomeProduct()));
  EXPECT_EQ(E_FAIL, report.TrySave()) << "a new one, without events";
}

TEST_F(ClientReport, UnmanagedAgentDropsOrRefusesAndItsComponentsSaveAllTheSame) {
  varnel::Report report(library, SomeProduct());
  varnel::Report refused(library, SomeProduct(), Unmanaged::kRefuse);
  report.AddMachine();
  report.AddEvent("E", 1, 1);
  SetNumber(kFramework, L"AgentMode", 0);
  EXPECT_EQ(S_OK, report.TrySave());
  EXPECT_THAT(ErrorOf([&] { refused.Save(); }), HasSubstr("not managed (0xFFFFF703). Enrol the agent"));
  EXPECT_EQ(VARNEL_E_NOT_AGENT_COMPONENT, report.TrySaveAgentEventOnly(kAgent, "abc"));
  report.SaveAgentEventOnly("ORBAAGENT", L"abc");
  const auto files = FilesIn(agentEvents);
  ASSERT_EQ(1u, files.size());
  EXPECT_TRUE(files[0].ends_with(L".abc"));
}

// The page is what people read; the header is what they get.
TEST(ClientError, SaysWhatTheIntegrationPageSays) {
  std::size_t rows = 0;
  for (const auto& row :
       RegexMatches(ReadFacts("../docs/integration.md"),
                    "\n\\| 0x([0-9A-F]{8})[^|]*(?: \\| `[A-Z_]+`)? \\| ([^|]+) \\| ([^|]+) \\|")) {
    const auto code = static_cast<HRESULT>(std::stoul(row[1], nullptr, 16));
    EXPECT_EQ("Call: " + row[2] + " (0x" + row[1] + "). " + row[3], Error("Call", code).what());
    EXPECT_EQ(code, Error("Call", code).Code());
    ++rows;
  }
  EXPECT_EQ(19u, rows);
}

}  // namespace
}  // namespace varnel::test
