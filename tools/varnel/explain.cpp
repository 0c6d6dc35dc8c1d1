// varnel explain: what the library would do with an event, and why; and what a result means.

#include "commands.h"
#include "console.h"
#include "json_text.h"
#include "prediction.h"
#include "result_words.h"
#include "text.h"

#include <algorithm>

namespace varnel::tool {
namespace {

using nlohmann::ordered_json;

void PrintJson(const ordered_json& json) {
  Print(JsonText(json, 2) + "\n");
}

void PrintRow(std::string_view head, std::string_view text) {
  constexpr std::size_t kWidth = 44;
  std::string row(head);
  row.resize(std::max(row.size() + 2, kWidth), ' ');
  Print(row + Printable(text) + "\n");
}

ordered_json ToJson(const ResultWords& words) {
  return {{"code", words.code}, {"name", words.name}, {"meaning", words.meaning}, {"remedy", words.remedy}};
}

void PrintWords(const ResultWords& words) {
  PrintRow("result", words.code + (words.name.empty() ? "" : " " + words.name));
  PrintRow("meaning", words.meaning);
  if (!words.remedy.empty()) PrintRow("what to do", words.remedy);
}

Status ExplainCode(const ExplainOptions& options) {
  const auto code = ParseResult(options.code);
  if (!code)
    throw Failure(Printable(options.code) + ": a number like 0xFFFFFFC9, -55 or 4294967241 is wanted");
  const ResultWords words = WordsOf(*code);
  if (options.asJson)
    PrintJson(ToJson(words));
  else
    PrintWords(words);
  return words.name.empty() ? kFound : kDone;
}

void PrintPrediction(const Prediction& prediction) {
  for (const Rule& rule : prediction.rules) {
    std::string head = rule.call;
    head.resize(20, ' ');
    PrintRow(head + ToUtf8(rule.name), ToUtf8(rule.finding));
  }
  Print("\n");
  PrintRow("decided by", prediction.rules.back().call + (", " + ToUtf8(prediction.rules.back().name)));
  PrintWords(WordsOf(prediction.result));
  for (const std::wstring& line : prediction.lines) PrintRow("log line at level 5", ToUtf8(line));
  if (prediction.lines.empty()) PrintRow("log line at level 5", "none");
  PrintRow("file", prediction.isWritten ? ToUtf8(prediction.folder + L'\\' + prediction.file) : "none");
}

ordered_json ToJson(const Prediction& prediction) {
  ordered_json rules = ordered_json::array();
  for (const Rule& rule : prediction.rules)
    rules.push_back({{"call", rule.call}, {"rule", ToUtf8(rule.name)}, {"finding", ToUtf8(rule.finding)}});
  ordered_json lines = ordered_json::array();
  for (const std::wstring& line : prediction.lines) lines.push_back(ToUtf8(line));
  return {{"rules", std::move(rules)},           {"result", ToJson(WordsOf(prediction.result))},
          {"written", prediction.isWritten},     {"lines", std::move(lines)},
          {"folder", ToUtf8(prediction.folder)}, {"file", ToUtf8(prediction.file)}};
}

Status ExplainEvent(const ExplainOptions& options) {
  if (!options.softwareId || !options.event || !options.severity)
    throw Failure("explain wants --software, --event and --severity, or --code");
  const Prediction prediction = Predict({ToWide(*options.softwareId), *options.event, *options.severity,
                                         static_cast<std::uint64_t>(options.size), options.managedOnly});
  if (options.asJson)
    PrintJson(ToJson(prediction));
  else
    PrintPrediction(prediction);
  return prediction.isWritten ? kDone : kFound;
}

}  // namespace

Status RunExplain(const ExplainOptions& options) {
  return options.code.empty() ? ExplainEvent(options) : ExplainCode(options);
}

}  // namespace varnel::tool
