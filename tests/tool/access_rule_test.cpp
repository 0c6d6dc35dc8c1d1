#include "machine/access_rule.h"

#include "support/text.h"

#include <gtest/gtest.h>

namespace varnel::test {
namespace {

using tool::AccessFacts;
using tool::PathPart;

TEST(AccessRule, NamesThoseWhoCouldReplaceTheFile) {
  for (const Row& row : Rules("access")) {
    const PathPart part = row[1] == "file"         ? PathPart::kFile
                          : row[1] == "own folder" ? PathPart::kOwnFolder
                                                   : PathPart::kFolderAbove;
    AccessFacts facts{row[2], row[3] != "none", {}};
    for (const auto& entry : RegexMatches(row[3], "(S-[-0-9]+) ([0-9A-F]+)( denied)?( below)?"))
      facts.entries.push_back({entry[1], static_cast<std::uint32_t>(std::stoul(entry[2], nullptr, 16)),
                               entry[3].empty(), !entry[4].empty()});
    std::string found;
    for (const std::string& sid : WhoCanReplace(facts, part, {"S-1-5-21-1-2-3-1001"}))
      found += (found.empty() ? "" : ";") + sid;
    EXPECT_EQ(row[4], found) << row[0];
  }
}

}  // namespace
}  // namespace varnel::test
