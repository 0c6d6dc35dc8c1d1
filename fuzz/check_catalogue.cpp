// Reads any text as a catalogue: each finding has a place in the text, and the same text has the same
// findings.

#include "catalogue/catalogue_reader.h"
#include "check.h"

#include <algorithm>

namespace varnel::fuzz {

using namespace tool::catalogue;

void CheckCatalogue(Input input) {
  const std::string toml = input.Rest();
  const Reading reading = ReadCatalogue(toml);
  const auto lines = static_cast<std::size_t>(std::count(toml.begin(), toml.end(), '\n')) + 1;
  for (const Finding& finding : reading.findings) {
    Require(finding.at.line >= 1 && finding.at.line <= lines, "a finding has a line of the file");
    Require(finding.at.column >= 1 && finding.at.column <= toml.size() + 1, "a finding has a column");
    Require(!finding.text.empty(), "a finding says what is wrong");
  }
  const Reading again = ReadCatalogue(toml);
  Require(again.findings.size() == reading.findings.size(), "the same text has the same findings");
}

}  // namespace varnel::fuzz
