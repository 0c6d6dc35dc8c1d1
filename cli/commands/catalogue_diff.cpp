// varnel catalogue diff: what changed between two catalogues, and whom it breaks.

#include "catalogue/catalogue_diff.h"

#include "catalogue/catalogue_file.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/printable.h"
#include "eventfile/event_text.h"

#include <algorithm>

namespace varnel::tool {
namespace {

using namespace catalogue;

// Returns the names of kinds, separated by ", ".
std::string NamesOf(unsigned breaks) {
  std::string names;
  for (const BreaksName& one : kBreaksNames)
    if (breaks & one.breaks) names.append(names.empty() ? "" : ", ").append(one.name);
  return names;
}

unsigned AllowedBy(const DiffOptions& options) {
  unsigned allowed = 0;
  for (const BreaksName& one : kBreaksNames)
    if (std::find(options.allowed.begin(), options.allowed.end(), one.name) != options.allowed.end())
      allowed |= one.breaks;
  return allowed;
}

void PrintChange(const DiffOptions& options, const Change& change) {
  const RuleText& rule = TextOf(change.rule);
  Print(Printable(change.isInOld ? options.before : options.after) + ":" + std::to_string(change.at.line) +
        ":" + std::to_string(change.at.column) + ": " + NamesOf(rule.breaks) + ": " + std::string(rule.name) +
        ": " + Shortened(change.text) + "\n");
}

}  // namespace

Status RunCatalogueDiff(const DiffOptions& options) {
  const Catalogue before = LoadCatalogue(options.before), after = LoadCatalogue(options.after);
  const std::vector<Change> changes = Diff(before, after);
  unsigned breaks = 0;
  for (const Change& change : changes) {
    PrintChange(options, change);
    breaks |= TextOf(change.rule).breaks;
  }
  const unsigned refused = breaks & ~AllowedBy(options);
  std::string line = Counted(changes.size(), "change");
  if (breaks != 0) line += ": " + NamesOf(breaks);
  if (refused != 0) line += "; not allowed: " + NamesOf(refused);
  Print(line + "\n");
  return refused != 0 ? kFound : kDone;
}

}  // namespace varnel::tool
