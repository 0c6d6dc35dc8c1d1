#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel::test {

// ASCII.
std::string Narrow(std::wstring_view text);
std::wstring Wide(std::string_view text);

// With every occurrence, or every match of a regular expression, replaced.
std::string Replaced(std::string text, std::string_view from, std::string_view to);
std::string RegexReplaced(const std::string& text, const char* form, const char* to);
// The whole match and its groups when the whole text has that form; nothing when it has not.
std::vector<std::string> RegexParts(const std::string& text, const char* form);
// The same for each match in the text.
std::vector<std::vector<std::string>> RegexMatches(const std::string& text, const char* form);

// The text of a file of facts in tests/, line ends as line feeds.
std::string ReadFacts(const std::string& name);

// The rows of a section of golden/rules.txt, each cut at " | ", with \r and \n for themselves. None is a
// failure of the test.
using Row = std::vector<std::string>;
std::vector<Row> Rules(const std::string& section);

}  // namespace varnel::test
