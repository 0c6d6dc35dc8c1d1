#include "support/text.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace varnel::test {

std::string Narrow(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t unit : text) narrow += static_cast<char>(unit);
  return narrow;
}

std::wstring Wide(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

std::string RegexReplaced(const std::string& text, const char* form, const char* to) {
  return std::regex_replace(text, std::regex(form), to);
}

std::vector<std::string> RegexParts(const std::string& text, const char* form) {
  const auto matches = RegexMatches(text, (std::string("^(?:") + form + ")$").c_str());
  return matches.empty() ? std::vector<std::string>() : matches.front();
}

std::vector<std::vector<std::string>> RegexMatches(const std::string& text, const char* form) {
  const std::regex expression(form);
  std::vector<std::vector<std::string>> matches;
  for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
    matches.emplace_back(at->begin(), at->end());
  return matches;
}

std::vector<Row> Rules(const std::string& section) {
  std::istringstream lines(ReadFacts("golden/rules.txt"));
  std::vector<Row> rows;
  bool here = false;
  for (std::string line; std::getline(lines, line);) {
    const bool isHeading = line.starts_with("[") && line.ends_with("]");
    if (isHeading) here = line == "[" + section + "]";
    if (!here || isHeading || line.empty() || line.starts_with("#")) continue;
    line = Replaced(Replaced(line, "\\r", "\r"), "\\n", "\n");
    Row& row = rows.emplace_back();
    for (const auto& match : RegexMatches(line + " | ", "([\\s\\S]*?) \\| ")) row.push_back(match[1]);
  }
  EXPECT_FALSE(rows.empty()) << section;
  return rows;
}

std::string ReadFacts(const std::string& name) {
  return Replaced(ReadBytes(Wide(VARNEL_FACTS "/" + name)), "\r", "");
}

}  // namespace varnel::test
