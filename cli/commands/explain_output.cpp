#include "commands/explain_output.h"

#include "console/console.h"
#include "console/printable.h"

#include <algorithm>
#include <string>

namespace varnel::tool {

void PrintJson(const nlohmann::ordered_json& json) {
  Print(JsonText(json, 2) + "\n");
}

void PrintRow(std::string_view head, std::string_view text) {
  constexpr std::size_t kWidth = 44;
  std::string row(head);
  row.resize(std::max(row.size() + 2, kWidth), ' ');
  Print(row + Printable(text) + "\n");
}

nlohmann::ordered_json ToJson(const ResultWords& words) {
  return {{"code", words.code}, {"name", words.name}, {"meaning", words.meaning}, {"remedy", words.remedy}};
}

void PrintWords(const ResultWords& words) {
  PrintRow("result", words.code + (words.name.empty() ? "" : " " + words.name));
  PrintRow("meaning", words.meaning);
  if (!words.remedy.empty()) PrintRow("what to do", words.remedy);
}

}  // namespace varnel::tool
