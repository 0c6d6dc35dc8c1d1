#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnel::test {

// Convert ASCII.
std::string Narrow(std::wstring_view text);
std::wstring Wide(std::string_view text);

// Return the text with every occurrence, or every match of a regular expression, replaced.
std::string Replaced(std::string text, std::string_view from, std::string_view to);
std::string RegexReplaced(const std::string& text, const char* form, const char* to);
// Returns the match and its groups if the whole text matches the regular expression, otherwise an empty list.
std::vector<std::string> RegexParts(const std::string& text, const char* form);
// Returns the same for each match in the text.
std::vector<std::vector<std::string>> RegexMatches(const std::string& text, const char* form);

// Returns the text of a file below tests/, with line feeds as line ends.
std::string ReadFacts(const std::string& name);

// Returns the rows of a section of golden/rules.txt, split at " | "; "\r" and "\n" become the characters.
// Fails the test if there are none.
using Row = std::vector<std::string>;
std::vector<Row> Rules(const std::string& section);

}  // namespace varnel::test
