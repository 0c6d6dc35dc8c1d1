// Runs the transcripts in tests/transcripts and compares what they show with what happens. README.md there
// says how to read and write them.

#include "support/adapters.h"
#include "support/captured_output.h"
#include "support/library.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>

namespace varnel::test {
namespace {

std::string ResultName(HRESULT result) {
  static const std::map<HRESULT, const char*> names = {
      {S_OK, "S_OK"},
      {E_FAIL, "E_FAIL"},
      {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE"},
      {DISP_E_MEMBERNOTFOUND, "DISP_E_MEMBERNOTFOUND"},
      {VARNEL_E_NOT_MANAGED, "VARNEL_E_NOT_MANAGED"},
      {VARNEL_E_EVENT_DISABLED, "VARNEL_E_EVENT_DISABLED"},
      {VARNEL_E_NOT_WRITTEN, "VARNEL_E_NOT_WRITTEN"},
      {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, "VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN"},
      {VARNEL_E_BAD_ARGUMENT, "VARNEL_E_BAD_ARGUMENT"},
      {VARNEL_E_NOT_AGENT_COMPONENT, "VARNEL_E_NOT_AGENT_COMPONENT"}};
  const auto name = names.find(result);
  return name != names.end() ? name->second : std::to_string(result) + " (unexpected)";
}

// The words of a command; quotes hold one together and make it a text, x*3 stands for xxx.
struct Word {
  std::string text;
  bool quoted;
};

std::vector<Word> WordsOf(const std::string& command) {
  std::vector<Word> words;
  for (const auto& match : RegexMatches(command, "\"([^\"]*)\"|[^ ]+"))
    words.push_back(match[0][0] == '"' ? Word{match[1], true} : Word{match[0], false});
  for (auto& word : words)
    if (const auto parts = RegexParts(word.text, "(.)\\*([0-9]+)"); !parts.empty())
      word = {std::string(std::stoul(parts[2]), parts[1][0]), true};
  return words;
}

class Transcript : public AgentTest, public testing::WithParamInterface<std::string> {
 protected:
  Transcript() {
    SetText(L"System\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName", L"ComputerName", L"PC1");
  }

  std::string Run(const std::string& facts) {
    std::istringstream lines(facts);
    std::string produced;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("> "))
        produced += line + "\n" + Do(Actual(line.substr(2)));
      else if (line.empty() || line.starts_with("#"))
        produced += line + "\n";
    }
    return produced;
  }

 private:
  // The marks of a transcript stand for what differs from machine to machine.
  std::vector<std::pair<std::string, std::string>> Marks() const {
    return {{"<folder>", Narrow(folder.Path())}, {"<control>", "\x1F"}};
  }
  std::string Actual(std::string text) const {
    for (const auto& [mark, value] : Marks()) text = Replaced(text, mark, value);
    return text;
  }
  std::string Marked(std::string text) {
    const std::pair<const char*, const char*> forms[] = {
        {"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.xml", "<guid>.xml"},
        {"[0-9]{17}[0-9]{4,5}[0-9A-F]{8}\\.", "<time>."},
        {"<OSName>Windows [^<]+<", "<OSName>Windows ...<"},
        {"X netif_w  candidate MAC=[0-9a-f]* If Type=[0-9]+ Include Loopback=0 Oper Status=[0-9]\n",
         "X netif_w  candidate ...\n"},
        {" \n", " <blank>\n"},
        {"(X netif_w  candidate \\.\\.\\.\n)+", "X netif_w  candidate ...\n"},
    };
    for (const auto& [form, mark] : forms) text = RegexReplaced(text, form, mark);
    for (const auto& [mark, value] : Marks()) text = Replaced(text, value, mark);
    wchar_t user[200] = {};
    DWORD length = 200;
    GetUserNameW(user, &length);
    return Replaced(text, "<UserName>" + Narrow(user) + "<", "<UserName>...<");
  }

  // A log line without its stamp and thread, the objects numbered in the order of their appearance.
  std::string MarkedLines(const std::string& output) {
    const char* const form =
        "[-0-9]{10} [:0-9]{8}(\\.[0-9]{3})? (.) +[0-9]+ (.{8} )(?:([^\t]+\\\\[^\t]+)\t)?(?:([0-9a-f]{4,8}) "
        ")?(.*)";
    std::istringstream lines(output);
    std::string marked;
    for (std::string line; std::getline(lines, line);) {
      const auto parts = RegexParts(line, form);
      if (parts.empty()) return marked + "not a log line: " + line;
      std::string object;
      if (!parts[5].empty()) {
        const auto number = objects_.try_emplace(parts[5], objects_.size() + 1).first->second;
        object = "<" + std::to_string(number) + "> ";
      }
      marked += parts[2] + (parts[1].empty() ? " " : ".ms ") + parts[3] +
                (parts[4].empty() ? "" : "<account> ") + object + parts[6] + "\n";
    }
    return Marked(marked);
  }

  std::string Do(const std::string& command) {
    auto words = WordsOf(command);
    std::string result;
    const std::string lines = OutputOf([&] { result = Execute(words); });
    return Marked(result) + MarkedLines(lines);
  }

  std::string Execute(std::vector<Word>& words) {
    const std::string& verb = words[0].text;
    if (verb == "set" || verb == "delete") return Set(words);
    if (verb == "write") return Write(words);
    if (verb == "saved") return TakeSaved();
    if (verb == "release") return variables_.erase(words[1].text) == 1 ? "" : "no such variable\n";
    if (verb == "unload?") return library_->CanUnloadNow() == S_OK ? "yes\n" : "no\n";
    std::string variable;
    if (words.size() > 1 && words[1].text == "=") {
      variable = verb;
      words.erase(words.begin(), words.begin() + 2);
    }
    return words[0].text == "new" ? New(variable, words[1].text) : Call(variable, words);
  }

  static std::string Set(const std::vector<Word>& words) {
    static const std::map<std::string, const wchar_t*> keys = {
        {"framework", kFramework}, {"parser", kEventParser}, {"log", kLog}};
    const wchar_t* const key = keys.at(words[1].text);
    const std::wstring name = Wide(words[2].text);
    if (words[0].text == "delete")
      DeleteValue(key, name.c_str());
    else if (words[3].quoted)
      SetText(key, name.c_str(), Wide(words[3].text));
    else
      SetNumber(key, name.c_str(), std::stoul(words[3].text));
    return "";
  }

  std::string Write(const std::vector<Word>& words) const {
    const std::wstring path = folder.File(Wide(words[1].text));
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteBytes(path, words[2].text);
    return "";
  }

  std::string TakeSaved() const {
    std::string saved;
    for (const std::wstring name : {L"AgentEvents", L"ServerEvents"}) {
      for (const auto& file : FilesIn(folder.File(name))) {
        const std::wstring path = folder.File(name + L"\\" + file);
        saved += Narrow(name + L"\\" + file) + "\n  " + ReadDocument(path) + "\n";
        DeleteFileW(path.c_str());
      }
    }
    return saved.empty() ? "nothing\n" : saved;
  }

  std::string New(const std::string& variable, const std::string& name) {
    const CLSID& clsid = name == "OrbaEventInf" ? CLSID_OrbaEventInf : CLSID_EventElement;
    variables_[variable] = library_->Create<IDispatch>(clsid, IID_IDispatch);
    return "";
  }

  // OBJECT.Method or OBJECT.#DISPID, its arguments, and "?" when the failure is to be described.
  std::string Call(const std::string& variable, std::vector<Word>& words) {
    const bool describe = words.back().text == "?";
    if (describe) words.pop_back();
    const auto dot = words[0].text.find('.');
    const auto object = variables_.at(words[0].text.substr(0, dot));
    const std::string method = words[0].text.substr(dot + 1);
    DISPID id = 0;
    std::wstring name = Wide(method);
    LPOLESTR names = name.data();
    if (method.starts_with("#"))
      id = std::stoi(method.substr(1));
    else if (FAILED(object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id)))
      return "no such method\n";
    VARIANT received;
    VariantInit(&received);
    std::vector<VARIANT> arguments;
    if (!variable.empty()) {
      V_VT(&arguments.emplace_back()) = VT_BYREF | VT_VARIANT;
      V_VARIANTREF(&arguments.back()) = &received;
    }
    for (auto word = words.rbegin(); word != words.rend() - 1; ++word) arguments.push_back(Argument(*word));
    const std::string result = Invoke(*object.Get(), id, arguments, describe);
    if (V_VT(&received) == VT_DISPATCH) variables_[variable] = ComPtr<IDispatch>(V_DISPATCH(&received));
    for (auto& argument : arguments) VariantClear(&argument);
    VariantClear(&received);
    return result;
  }

  static VARIANT Argument(const Word& word) {
    VARIANT argument;
    VariantInit(&argument);
    if (!word.quoted && word.text[0] == '@') {
      V_VT(&argument) = VT_DATE;
      V_DATE(&argument) = std::stod(word.text.substr(1));
    } else if (!word.quoted && word.text.find_first_not_of("-.0123456789") == word.text.npos) {
      V_VT(&argument) = VT_R8;
      V_R8(&argument) = std::stod(word.text);
    } else if (word.quoted || word.text != "nothing") {
      V_VT(&argument) = VT_BSTR;
      const bool null = !word.quoted && word.text == "null";
      V_BSTR(&argument) = null ? nullptr : SysAllocString(Wide(word.text).c_str());
    }
    return argument;
  }

  static std::string Invoke(IDispatch& object, DISPID id, std::vector<VARIANT>& arguments, bool describe) {
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    EXCEPINFO failure;
    std::memset(&failure, 0xCD, sizeof(failure));  // as C++ callers leave it
    const HRESULT result =
        object.Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr, &failure, nullptr);
    if (result != DISP_E_EXCEPTION) return ResultName(result) + "\n";
    std::string text = ResultName(failure.scode) + "\n";
    if (describe) text += Narrow(failure.bstrSource) + ": " + Narrow(failure.bstrDescription) + "\n";
    SysFreeString(failure.bstrSource);
    SysFreeString(failure.bstrDescription);
    return text;
  }

  std::optional<Library> library_{std::in_place};
  std::map<std::string, ComPtr<IDispatch>> variables_;
  std::map<std::string, std::size_t> objects_;
};

TEST_P(Transcript, ShowsWhatHappens) {
  const std::string facts = ReadFacts("transcripts/" + GetParam() + ".txt");
  if (const ULONG error = facts.find("netif_w") != facts.npos ? AskForAdapters() : 0)
    GTEST_SKIP() << "this system does not name its adapters: GetAdaptersAddresses answers " << error;
  EXPECT_EQ(facts, Run(facts));
}

std::vector<std::string> AllTranscripts() {
  std::vector<std::string> names;
  for (const auto& file : FilesIn(Wide(VARNEL_FACTS "/transcripts")))
    if (file.ends_with(L".txt")) names.push_back(Narrow(file.substr(0, file.size() - 4)));
  return names;
}

INSTANTIATE_TEST_SUITE_P(, Transcript, testing::ValuesIn(AllTranscripts()),
                         [](const auto& row) { return row.param; });

}  // namespace
}  // namespace varnel::test
