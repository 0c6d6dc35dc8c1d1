// Compares the results that the headers describe with the integration page and the declarations for C#.

#include "support/temp_folder.h"
#include "support/text.h"
#include "varnel/varnel.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <map>
#include <set>

namespace varnel::test {
namespace {

// The number, name, meaning and remedy of each row of a table of the integration page.
using Rows = std::map<std::string, std::array<std::string, 3>>;
Rows RowsOf(const std::string& table) {
  Rows rows;
  for (const auto& row :
       RegexMatches(table, "\n\\| 0x([0-9A-F]{8})[^|]* \\| `(\\w+)` \\| ([^|]+) \\| ([^|]+) \\|"))
    rows[row[1]] = {row[2], row[3], row[4]};
  return rows;
}
std::string Number(HRESULT code) {
  char digits[9];
  std::snprintf(digits, sizeof(digits), "%08lX", static_cast<unsigned long>(code));
  return digits;
}

// The page is what people read; the headers are what they get. Neither has a code that the other lacks.
TEST(ResultCodes, HeadersPageAndInteropListTheSame) {
  const std::string page = ReadFacts("../docs/integration.md");
  const std::size_t ofClient = page.find("\n### Results of varnel.hpp");
  ASSERT_NE(std::string::npos, ofClient);
  const Rows methods = RowsOf(page.substr(0, ofClient));
  const Rows client = RowsOf(page.substr(ofClient));

  std::set<std::string> described;
  for (const detail::DescribedResult& result : detail::kDescribedResults)
    described.insert(Number(result.code));
  std::set<std::string> listed;
  for (const auto& [number, words] : client) {
    listed.insert(number);
    const auto code = static_cast<HRESULT>(std::stoul(number, nullptr, 16));
    EXPECT_EQ("Call: " + words[1] + " (0x" + number + "). " + words[2], Error("Call", code).what());
    EXPECT_EQ(code, Error("Call", code).Code());
  }
  EXPECT_EQ(described, listed);

  // In C the table of words is inside a function, so its names are read from the source.
  const std::string header = ReadFacts("../include/varnel/varnel.h");
  std::set<std::string> ofHeader, ofPage;
  for (const auto& entry : RegexMatches(header, "\n +\\{(\\w+),\n")) ofHeader.insert(entry[1]);
  for (const auto& [number, words] : methods) {
    ofPage.insert(words[0]);
    const VarnelResultText text = VarnelDescribeResult(static_cast<HRESULT>(std::stoul(number, nullptr, 16)));
    EXPECT_EQ(words[1], Narrow(text.meaning)) << words[0];
    EXPECT_EQ(words[2], Narrow(text.remedy)) << words[0];
  }
  EXPECT_EQ(ofHeader, ofPage);
  EXPECT_STREQ(L"succeeded", VarnelDescribeResult(S_OK).meaning);

  // "VARNEL_E_NOT_MANAGED" and "NotManaged" are one name.
  const auto plain = [](std::string name) {
    name = Replaced(Replaced(name, "VARNEL_E_", ""), "_", "");
    for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return name;
  };
  std::map<std::string, std::string> ofInterop, own;
  for (const auto& [number, words] : methods)
    if (words[0].starts_with("VARNEL_E_")) own[number] = plain(words[0]);
  for (const auto& row : RegexMatches(ReadBytes(Wide(VARNEL_INTEROP)),
                                      "const int (\\w+) = unchecked\\(\\(int\\)0x([0-9A-F]{8})\\)"))
    ofInterop[row[2]] = plain(row[1]);
  EXPECT_EQ(ofInterop, own);
}

}  // namespace
}  // namespace varnel::test
