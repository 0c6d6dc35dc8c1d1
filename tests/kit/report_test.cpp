// Tests reports and errors of varnel.hpp with the real library, loaded by its path.

#include "support/library.h"
#include "varnel/varnel.hpp"

#include <gmock/gmock.h>

#include <algorithm>
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
    EXPECT_EQ(kBadTime, report.TryAddEvent("E", 1, 1, At(outside))) << outside;
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
    SCOPED_TRACE(row.repaired);
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

TEST(Names, HaveTheCharactersOfXml) {
  struct Range {
    unsigned first, last;
    bool isStart;
  };
  std::vector<Range> ranges;
  for (const Row& row : Rules("name characters"))
    ranges.push_back({unsigned(std::stoul(row[0], nullptr, 16)), unsigned(std::stoul(row[1], nullptr, 16)),
                      row[2] == "1"});
  for (const Range& border : ranges)
    for (const unsigned code : {border.first - 1, border.first, border.last, border.last + 1}) {
      const auto range = std::find_if(ranges.begin(), ranges.end(), [&](const Range& one) {
        return code >= one.first && code <= one.last;
      });
      std::wstring name(1, static_cast<wchar_t>(code));
      if (code > 0xFFFF)
        name = {static_cast<wchar_t>(0xD7C0 + (code >> 10)), static_cast<wchar_t>(0xDC00 + (code & 0x3FF))};
      EXPECT_EQ(range != ranges.end() && range->isStart, Text(name).StatusAsName() == S_OK) << code;
      EXPECT_EQ(range != ranges.end(), Text(L"n" + name).StatusAsName() == S_OK) << code;
    }
}

TEST_F(ClientReport, NamesAreXmlNames) {
  const varnel::Report report(library, SomeProduct());
  const Element event = report.AddEvent("E", 1, 1);
  for (const std::wstring& name :
       {std::wstring(L"a-b.c_9"), std::wstring(L"\xD840\xDC00"), std::wstring(10'000, L'n')})
    EXPECT_EQ(S_OK, event.TryAddChild(name)) << testing::PrintToString(name);
  EXPECT_EQ(kBadName, event.TryAddChild(std::wstring(10'001, L'n')));
  for (const wchar_t* const name : {L"", L"1", L"a b", L"a:b", L"xmlns"}) {
    SCOPED_TRACE(testing::PrintToString(name));
    EXPECT_EQ(kBadName, event.TryAddChild(name));
    EXPECT_EQ(kBadName, event.TryAddSibling(name));
    EXPECT_EQ(kBadName, event.TrySetAttribute(name, "x"));
    EXPECT_EQ(kBadName, event.TrySetAttribute(name, 1));
    EXPECT_EQ(kBadName, report.TryAddEvent(name, 1, 1));
    EXPECT_EQ(kBadName, varnel::Report().TryOpen(library, {kAgent, name, "P", "", "", ""}));
    EXPECT_EQ(kBadName, varnel::Report().TryOpen(library, {kAgent, "R", name, "", "", ""}));
  }
}

TEST_F(ClientReport, ErrorsNameTheCallItsArgumentsAndTheStepThatIsMissing) {
  varnel::Report empty;
  varnel::Report closed(library, SomeProduct());
  const Element orphan = closed.AddEvent("E", 1, 1);
  closed.Close();
  varnel::Report fresh(library, SomeProduct());
  varnel::Report report(library, SomeProduct());
  report.AddMachine();
  varnel::Report whole(library, SomeProduct());
  whole.AddMachine();
  const Element event = whole.AddEvent("E", 1, 1);
  Element deep = event.AddChild("D");
  int level = 4;
  while (level < 300 && deep.TryAddChild("D", nullptr, &deep) == S_OK) ++level;
  EXPECT_EQ(255, level);
  const auto open = [this](Text Product::*field, Text text) {
    Product product = SomeProduct();
    product.*field = std::move(text);
    varnel::Report(library, product);
  };
  const std::wstring longest(201, L'x');
  const struct {
    std::function<void()> action;
    const char* start;
    const char* remedy;
  } rows[] = {
      {[&] { empty.Save(); }, "Save: the report is not open", "Open the report"},
      {[&] { empty.AddMachine(); }, "AddMachine: the report is not open", "Open the report"},
      {[&] { empty.AddEvent("E", 7, 1); }, "AddEvent(\"E\", 7): the report is not open", "Open the report"},
      {[&] { empty.MachineElement(); }, "MachineElement: the report is not open", "Open the report"},
      {[&] { empty.ProductElement(); }, "ProductElement: the report is not open", "Open the report"},
      {[&] { empty.SaveAgentEventOnly("ORBAAGENT", "x"); },
       "SaveAgentEventOnly(\"ORBAAGENT\", \"x\"): the report is not open", "Open the report"},
      {[&] { closed.Close(); }, "Close: the report is not open", "Open the report"},
      {[&] { orphan.AddSibling("S"); }, "AddSibling(\"S\"): ", "only until it is closed"},
      {[&] { orphan.SetAttribute("A", 1); }, "SetAttribute(\"A\"): ", "only until it is closed"},
      {[] { Element().AddChild("C"); }, "AddChild(\"C\"): ", "or the element is empty"},
      {[&] { fresh.Save(); }, "Save: the report has no machine facts", "Call AddMachine"},
      {[&] { report.Save(); }, "Save: the report has no event", "Call AddEvent"},
      {[&] { report.AddMachine(); }, "AddMachine: the report already has", "once"},
      {[&] {
         report.AddMachine({L"\xD800", nullptr});
       },
       "AddMachine(osName \"\\uD800\"): ", "Repaired"},
      {[&] { report.AddEvent("E", 0, 1); }, "AddEvent(\"E\", 0): 0 is not an event", "other than 0"},
      {[&] { report.AddEvent(L"\u00C9 v", 1, 1); }, "AddEvent(\"\\u00C9 v\", 1): ", "begins with a letter"},
      {[&] { event.AddChild(nullptr); }, "AddChild(null): the name", "begins with a letter"},
      {[&] { event.AddChild("\xFF"); }, "AddChild(not UTF-8): a text", "Repaired"},
      {[&] { event.SetAttribute("Path", L"\x1"); }, "SetAttribute(\"Path\"): a text", "Repaired"},
      {[&] { event.AddChild("Severity"); }, "AddChild(\"Severity\"): the name belongs to", "event-format.md"},
      {[&] { deep.AddChild("D"); }, "AddChild(\"D\"): the element would be more than 255", "less deeply"},
      {[&] { open(&Product::rootName, "1 x"); }, "Report(rootName \"1 x\"): the name", "begins with"},
      {[&] { open(&Product::elementName, "MachineInfo"); },
       "Report(elementName \"MachineInfo\"): ", "another"},
      {[&] { open(&Product::version, nullptr); }, "Report(version null): a required text", "Pass a text"},
      {[&] { varnel::Report(varnel::Library(), SomeProduct()); }, "Report: COM is not initialised",
       "ComScope"},
      {[] { (void)varnel::Library::FromFile(L"x.dll"); }, "Library::FromFile(\"x.dll\"): the path is",
       "drive"},
      {[] { (void)varnel::Library::SideBySide(nullptr); }, "Library::SideBySide(\"null\"): the path",
       "drive"},
      {[&] { whole.SaveAgentEventOnly("ORBAAGENT", longest); }, "SaveAgentEventOnly(\"ORBAAGENT\", \"xxx",
       "...\", 201 characters): the file extension is too long"},
      {[&] { whole.SaveAgentEventOnly("OTHER", "x"); },
       "SaveAgentEventOnly(\"OTHER\", \"x\"): ", "ORBAAGENT"},
      {[&] {
         DeleteValue(kFramework, L"Data Path");
         whole.Save();
       },
       "Save: the agent's event folder is not set", "Set \"Data Path\""},
  };
  for (const auto& [action, start, remedy] : rows)
    EXPECT_THAT(ErrorOf(action), AllOf(StartsWith(start), HasSubstr(remedy)));
}

TEST_F(ClientReport, OpeningThatFailsLeavesTheReportThatWasOpen) {
  varnel::Report report(library, SomeProduct());
  report.AddMachine();
  report.AddEvent("First", 1, 1, kSomeTime);
  Product bad = SomeProduct();
  bad.softwareId = nullptr;
  EXPECT_EQ(kNullText, report.TryOpen(library, bad));
  report.Save();
  EXPECT_THAT(TakeSaved(), HasSubstr("<First>"));
  EXPECT_EQ(S_OK, report.TryOpen(library, SomeProduct()));
  EXPECT_EQ(kNoMachine, report.TrySave()) << "a new one";
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

// A name and its place, where readers would take it for one of the library's own.
TEST_F(ClientReport, NamesOfTheLibraryAreRefusedWhereTheyStandForItsOwn) {
  const varnel::Report report(library, SomeProduct());
  report.AddMachine();
  const Element machine = report.MachineElement();
  const Element product = report.ProductElement();
  const Element event = report.AddEvent("Severity", 1, 1);
  const Element below = event.AddChild("MachineInfo");
  const struct {
    const char* name;
    HRESULT root, machine, product, event, below;
  } rows[] = {{"EventID", kReservedName, kReservedName, kReservedName, kReservedName, kReservedName},
              {"GMTTime", kReservedName, kReservedName, kReservedName, kReservedName, kReservedName},
              {"Severity", S_OK, S_OK, S_OK, kReservedName, S_OK},
              {"MachineInfo", kReservedName, S_OK, S_OK, S_OK, S_OK},
              {"OSName", S_OK, kReservedName, S_OK, S_OK, S_OK},
              {"RawMACAddress", S_OK, kReservedName, S_OK, S_OK, S_OK},
              {"ProductName", S_OK, S_OK, S_OK, S_OK, S_OK}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.root, machine.TryAddSibling(row.name));
    EXPECT_EQ(row.root, product.TryAddSibling(row.name));
    EXPECT_EQ(row.machine, machine.TryAddChild(row.name));
    EXPECT_EQ(row.product, product.TryAddChild(row.name));
    EXPECT_EQ(row.product, event.TryAddSibling(row.name));
    EXPECT_EQ(row.event, event.TryAddChild(row.name));
    EXPECT_EQ(row.event, below.TryAddSibling(row.name));
    EXPECT_EQ(row.below, below.TryAddChild(row.name));
    EXPECT_EQ(S_OK, event.TrySetAttribute(row.name, row.name));
    EXPECT_EQ(row.name == std::string("ProductName") ? kReservedName : S_OK,
              product.TrySetAttribute(row.name, 1));
  }
  EXPECT_EQ(kReservedName, report.TryAddEvent("EventID", 1, 1));
}

TEST_F(ClientReport, TextsThatWereMovedFromAreNull) {
  const varnel::Report report(library, SomeProduct());
  const Element event = report.AddEvent("E", 1, 1);
  Text from("From");
  Text to("To");
  to = std::move(from);
  EXPECT_EQ(kBadName, event.TryAddChild(from));
  EXPECT_EQ(S_OK, event.TryAddChild(to));
  EXPECT_EQ(kBadName, event.TrySetAttribute(nullptr, 1));
  EXPECT_EQ(kBadName, report.TryAddEvent(static_cast<const char*>(nullptr), 1, 1));
  EXPECT_EQ(kNullText, report.TrySaveAgentEventOnly("ORBAAGENT", from));
}

}  // namespace
}  // namespace varnel::test
