#include "page/page_rules.h"

#include "console/printable.h"
#include "eventfile/allowance.h"
#include "eventfile/event_document.h"
#include "eventfile/event_files.h"
#include "eventfile/event_json.h"
#include "eventfile/event_labels.h"
#include "eventfile/json_line.h"
#include "eventfile/xml_reader.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace varnel::tool {
namespace {

// Returns a list of the first and the last code point of each range, one after the other.
std::string CodePoints(std::span<const CharacterRange> ranges) {
  std::string json = "[";
  for (const auto& [first, last] : ranges) {
    if (json.size() > 1) json += ',';
    json += std::to_string(static_cast<std::uint32_t>(first)) + ',' +
            std::to_string(static_cast<std::uint32_t>(last));
  }
  return json + ']';
}

std::string Names(std::span<const std::string_view> names) {
  std::string json = "[";
  for (const std::string_view name : names) {
    if (json.size() > 1) json += ',';
    AppendJsonText(json, name, JsonUse::kPage);
  }
  return json + ']';
}

}  // namespace

std::string PageRules() {
  std::string json;
  JsonLine line(json, json.max_size() / 2, JsonUse::kPage);
  for (const auto& [name, number] : {std::pair<std::string_view, std::uint64_t>("largestFile", kLargestFile),
                                     {"deepestElement", kDeepestElement},
                                     {"mostNodes", kMostNodes},
                                     {"longestText", kLongestText},
                                     {"mostLabels", kMostLabels},
                                     {"longestLine", kLongestLine},
                                     {"lineEnding", kLineEnding},
                                     {"timesFile", Allowance::kTimes},
                                     {"besideFile", Allowance::kBeside},
                                     {"endOfFile", Allowance::kEnd},
                                     {"mostMarks", kMostMarks}})
    line.Raw(name, std::to_string(number));
  line.Raw("machineFacts", Names(kMachineFacts));
  line.Raw("eventFacts", Names(kEventFacts));
  line.Raw("productFacts", Names(kProductFacts));
  line.Raw("unseen", CodePoints(UnseenCharacters()));
  line.Raw("marks", CodePoints(CombiningMarks()));
  line.Close();
  return json;
}

}  // namespace varnel::tool
