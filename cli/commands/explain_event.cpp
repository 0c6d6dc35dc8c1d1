// varnel explain of an event: predicts a save and its reasons.

#include "commands/commands.h"
#include "commands/explain_output.h"
#include "console/console.h"
#include "console/wide_text.h"
#include "doctor/checks.h"
#include "machine/registered_class.h"
#include "report/prediction.h"
#include "report/result_words.h"
#include "varnel/varnel.hpp"

#include <algorithm>

namespace varnel::tool {
namespace {

using nlohmann::ordered_json;

// The prediction for a report on this machine.
struct Answer {
  Prediction prediction;
  bool waits = false;  // Save waits, because another program holds the save mutex
};

constexpr char kNotChecked[] =
    "whether the registered DLL loads; free room on the disk; the self-protection service; the 32-bit "
    "registration";

constexpr wchar_t kRegistration[] = L"registration";

// Adds the first rule, COM's registration. Returns false if no object is created.
bool AddRegistration(Prediction& prediction) {
  RegistryKey key = OpenServerKey(KEY_WOW64_64KEY);
  if (!key)  // this account may have its own registration
    key = OpenClassKey(HKEY_CURRENT_USER, CLSID_OrbaEventInf, L"\\InprocServer32", KEY_WOW64_64KEY);
  const std::wstring file = key ? ServerOf(key) : L"";
  const bool isThere = GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
  prediction.rules.push_back({"CoCreateInstance", kRegistration,
                              !key      ? L"the class is not registered for 64-bit programs"
                              : isThere ? file
                                        : L"the registered file does not exist: " + file});
  if (key && isThere) return true;
  prediction.result = key ? SystemResult(ERROR_MOD_NOT_FOUND) : REGDB_E_CLASSNOTREG;
  prediction.remedy =
      L"Install the package, or run regsvr32 on the 64-bit varnel.dll. For a product that keeps it in its "
      L"own folder, add --own-dll.";
  return false;
}

// Adds the save mutex after the rule that finds the folder.
void AddSaveMutex(Answer& answer) {
  std::vector<Rule>& rules = answer.prediction.rules;
  const auto path = std::find_if(rules.begin(), rules.end(), [](const Rule& rule) {
    return rule.name == L"Data Path" || rule.name == L"EventsPath";
  });
  if (answer.prediction.folder.empty() || path == rules.end()) return;
  answer.waits = CheckSaveMutex().isHeld;
  rules.insert(
      path + 1,
      {"Save", L"save mutex",
       answer.waits ? L"held by another program: Save waits until it is free, then continues" : L"free"});
  if (answer.waits)
    answer.prediction.remedy = L"End the program that hangs in a save. " + answer.prediction.remedy;
}

Answer Ask(const ExplainOptions& options) {
  Answer answer;
  if (!options.ownDll && !AddRegistration(answer.prediction)) return answer;
  Prediction prediction = Predict({ToWide(*options.softwareId), *options.event, *options.severity,
                                   static_cast<std::uint64_t>(options.size), options.managedOnly});
  prediction.rules.insert(prediction.rules.begin(), answer.prediction.rules.begin(),
                          answer.prediction.rules.end());
  answer.prediction = std::move(prediction);
  AddSaveMutex(answer);
  return answer;
}

// Returns the words for the result, with the remedy of the rule that decided.
ResultWords WordsOf(const Prediction& prediction) {
  ResultWords words = tool::WordsOf(prediction.result);
  words.remedy = ToUtf8(prediction.remedy);
  const Rule& decider = prediction.rules.back();
  if (FAILED(prediction.result) && decider.name == kRegistration) words.meaning = ToUtf8(decider.finding);
  return words;
}

void PrintAnswer(const Answer& answer) {
  const Prediction& prediction = answer.prediction;
  for (const Rule& rule : prediction.rules) {
    std::string head = rule.call;
    head.resize(20, ' ');
    PrintRow(head + ToUtf8(rule.name), ToUtf8(rule.finding));
  }
  Print("\n");
  PrintRow("decided by", prediction.rules.back().call + (", " + ToUtf8(prediction.rules.back().name)));
  PrintWords(WordsOf(prediction));
  for (const std::wstring& line : prediction.lines) PrintRow("log line at level 5", ToUtf8(line));
  if (prediction.lines.empty()) PrintRow("log line at level 5", "none");
  PrintRow("file", prediction.isWritten ? ToUtf8(prediction.folder + L'\\' + prediction.file) : "none");
  PrintRow("not checked", kNotChecked);
}

ordered_json ToJson(const Answer& answer) {
  const Prediction& prediction = answer.prediction;
  ordered_json rules = ordered_json::array();
  for (const Rule& rule : prediction.rules)
    rules.push_back({{"call", rule.call}, {"rule", ToUtf8(rule.name)}, {"finding", ToUtf8(rule.finding)}});
  ordered_json lines = ordered_json::array();
  for (const std::wstring& line : prediction.lines) lines.push_back(ToUtf8(line));
  return {{"rules", std::move(rules)},       {"result", ToJson(WordsOf(prediction))},
          {"written", prediction.isWritten}, {"waits", answer.waits},
          {"lines", std::move(lines)},       {"folder", ToUtf8(prediction.folder)},
          {"file", ToUtf8(prediction.file)}, {"notChecked", kNotChecked}};
}

}  // namespace

Status ExplainEvent(const ExplainOptions& options) {
  if (!options.softwareId || !options.event || !options.severity)
    throw Failure("pass --software, --event and --severity, or --code");
  const Answer answer = Ask(options);
  if (options.asJson)
    PrintJson(ToJson(answer));
  else
    PrintAnswer(answer);
  return answer.prediction.isWritten && !answer.waits ? kDone : kFound;
}

}  // namespace varnel::tool
