#include "report/prediction.h"

#include "support/captured_output.h"
#include "support/library.h"

#include <filesystem>
#include <map>
#include <random>

namespace varnel::test {
namespace {

namespace fs = std::filesystem;
using tool::Prediction;
using tool::Question;

constexpr int kCases = 500;
constexpr unsigned kSeed = 20240307;
constexpr DWORD kNone = 0xFFFFFFFF;  // no value at all

// The outcome of a real report.
struct Fact {
  HRESULT result = S_OK;
  std::string call;  // that gave the result
  std::string lines;
  std::vector<std::wstring> files;  // full paths
};

// Replaces the parts that differ between reports by the marks that a prediction has for them.
std::string Marked(std::string text) {
  const std::pair<const char*, const char*> forms[] = {
      {"[-0-9]{10} [:0-9]{8} E +[0-9]+ Quorvel  ", ""},
      {"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.xml", "<GUID>.xml"},
      {"[0-9]{17}[0-9]{4,5}[0-9A-F]{8}\\.", "<time>."},
      {"code =[0-9]+\n", "code =<number>\n"},
      {"(^|\n)[0-9a-f]{4,8} ", "$1<object> "}};
  for (const auto& [form, mark] : forms) text = RegexReplaced(text, form, mark);
  return text;
}

class PredictionTest : public AgentTest {
 protected:
  PredictionTest() {
    fs::current_path(folder.MakeFolder(L"current"));  // relative paths lead here
    fs::create_directories(L"relative\\AgentEvents");
    folder.MakeFolder(L"data");
    folder.MakeFolder(L"blocked");
    WriteBytes(folder.File(L"blocked\\AgentEvents"), "a file");
    smallest_ = static_cast<std::size_t>(fs::file_size(Report({kAgent, 1, 1}).files.at(0)));
    RemoveReports();
  }
  ~PredictionTest() override { fs::current_path(fs::temp_directory_path()); }

  template <class Value>
  Value OneOf(std::initializer_list<Value> values) {
    return values.begin()[random_() % values.size()];
  }

  // Every value in each of its kinds: absent, good, bad.
  void SetUpByChance() {
    settings_.clear();
    SetByChance(L"AgentMode", {"\1", "\1", "\1", "\1", "\1", "1", "0", ""});
    SetByChance(L"AgPlcyEnableEventTrigger", {"\1", "1", "0", ""});
    SetByChance(L"AgPlcyEventTriggerThreshold", {"\3", "2", "12345", ""});
    const std::wstring own = folder.Path();
    SetOrDelete(kFramework, L"Data Path",
                OneOf({own + L"\\", own + L"\\", own + L"\\", own + L"\\", own, own + L"\\no\\",
                       own + L"\\blocked\\", own + L"\\a<b\\", std::wstring(L"relative\\"),
                       std::wstring(260, L'x'), std::wstring(259, L'x'), std::wstring()}));
    SetOrDelete(kEventParser, L"EventsPath",
                OneOf({serverEvents, serverEvents, serverEvents + L"\\\\", serverEvents + L"\\no",
                       own + L"\\blocked\\AgentEvents", own + L"\\a<b", std::wstring(L"relative"),
                       std::wstring(L"new"), std::wstring(260, L'x'), std::wstring()}));
    for (const auto& made : {serverEvents, folder.File(L"current\\new")})
      if (random_() % 2 == 0) fs::remove_all(made);
    std::string filter = OneOf<std::string>({"", "DisabledEvent=", "DisabledEvent="});
    for (auto left = random_() % 3; left > 0; --left)
      filter += OneOf<std::string>({"0;", "1;", "2;", "-1;", " 1;", "3"});
    settings_ += "filter '" + filter + "'; ";
    WriteBytes(folder.File(L"data\\EvtFiltr.ini"), filter);
  }

  Question AskByChance() {
    Question question;
    question.softwareId =
        OneOf({std::wstring(kServer), std::wstring(kServer), std::wstring(kAgent), std::wstring(kAgent),
               std::wstring(L"orbasrvr_3500"), kServer + std::wstring(300, L'0'), std::wstring()});
    question.event = OneOf({-1, 0, 1, 1, 2, 2, 3});
    question.severity = static_cast<std::int32_t>(random_() % 6);
    question.managedOnly = random_() % 3 == 0;
    question.size =
        smallest_ - 2 + std::to_string(question.event).size() + std::to_string(question.severity).size();
    const auto size = static_cast<DWORD>(question.size);
    SetNumberOrDelete(L"Brenn Size", OneOf<DWORD>({kNone, kNone, size, size + 1, 0}));
    settings_ += "event " + std::to_string(question.event) + ", severity " +
                 std::to_string(question.severity) + " of " + Narrow(question.softwareId) +
                 (question.managedOnly ? ", managed only" : "");
    return question;
  }

  // The report that was asked for, through the DLL, and what has appeared in its folders.
  Fact Report(const Question& question) {
    Fact fact;
    fact.lines = Marked(OutputOf([&] { Save(question, fact); }));
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path()))
      if (entry.path().wstring().ends_with(L"xml")) fact.files.push_back(entry.path().wstring());
    return fact;
  }
  void RemoveReports() const {
    for (const auto& path : Everything())
      if (path.ends_with(L"xml")) fs::remove(path);
  }
  std::vector<std::wstring> Everything() const {
    std::vector<std::wstring> paths;
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path()))
      paths.push_back(entry.path().wstring());
    return paths;
  }

  std::string settings_;  // of the case, for who looks at a failure

 private:
  // A number of four bytes, a text; none for an empty one.
  void SetByChance(const wchar_t* name, std::initializer_list<const char*> values) {
    const std::string value = OneOf(values);
    if (value.size() == 1 && value[0] < ' ')
      SetNumberOrDelete(name, static_cast<DWORD>(value[0]));
    else
      SetOrDelete(kFramework, name, Wide(value));
  }
  void SetNumberOrDelete(const wchar_t* name, DWORD number) {
    settings_ += Narrow(name) + "=" + std::to_string(number) + "; ";
    SetNumber(kFramework, name, number);
    if (number == kNone) DeleteValue(kFramework, name);
  }
  void SetOrDelete(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
    settings_ += Narrow(name) + "='" + Narrow(text) + "'; ";
    SetText(key, name, text);
    if (text.empty()) DeleteValue(key, name);
  }

  void Save(const Question& question, Fact& fact) const {
    const auto report = library_.CreateReport();
    const auto went = [&fact](const char* call, HRESULT result) {
      fact.call = call;
      fact.result = result;
      return SUCCEEDED(result);
    };
    const Bstr words(L"Word");
    const auto initialize = question.managedOnly ? &IOrbaEventInf3::Initialize3 : &IOrbaEventInf3::Initialize;
    if (went(question.managedOnly ? "Initialize3" : "Initialize",
             (report.Get()->*initialize)(Bstr(question.softwareId), words, words, words, words, words)) &&
        went("CreateMachineElement", report->CreateMachineElement(nullptr, words, words)) &&
        went("CreateEventElement", AddEvent(*report.Get(), L"Event", question.event, question.severity)))
      went("Save", report->Save());
  }

  std::minstd_rand random_{kSeed};
  Library library_;
  std::size_t smallest_ = 0;  // bytes of a report whose event and severity have one digit
};

TEST_F(PredictionTest, IsWhatTheLibraryDoes) {
  std::map<std::string, int> deciders;
  for (int i = 0; i < kCases && !HasFailure(); ++i) {
    SetUpByChance();
    const Question question = AskByChance();
    SCOPED_TRACE("seed " + std::to_string(kSeed) + ", case " + std::to_string(i) + ": " + settings_);
    const auto before = Everything();
    const Prediction prediction = Predict(question);
    EXPECT_EQ(before, Everything()) << "it has written";
    const Fact fact = Report(question);
    std::string lines;
    for (const auto& line : prediction.lines) lines += Narrow(line) + "\n";
    EXPECT_EQ(fact.result, prediction.result);
    EXPECT_EQ(fact.call, prediction.rules.back().call);
    EXPECT_EQ(fact.lines, lines);
    ASSERT_EQ(prediction.isWritten ? 1u : 0u, fact.files.size());
    EXPECT_EQ(prediction.isWritten, !prediction.file.empty());
    if (prediction.isWritten) {
      const fs::path expected = fs::absolute(fs::path(prediction.folder) / prediction.file);
      EXPECT_EQ(Narrow(expected.lexically_normal().wstring()), Marked(Narrow(fact.files[0])));
      EXPECT_EQ(question.size, fs::file_size(fact.files[0])) << "the question was about another report";
    }
    RemoveReports();
    const std::string decider = prediction.isWritten ? "none" : Narrow(prediction.rules.back().name);
    ++deciders[RegexReplaced(decider, "event -?[1-9]", "event N")];
  }
  std::string found;
  for (const auto& [rule, times] : deciders) found += rule + " " + (times > 9 ? "" : "seldom ") + "| ";
  EXPECT_EQ(
      "Data Path | EventsPath | filter, event 0 | filter, event N | folder | identifier | managed | none | "
      "size limit | ",
      found);
}

}  // namespace
}  // namespace varnel::test
