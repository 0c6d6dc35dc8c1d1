// Compares the list of disabled events with entries that are found by splitting the text.

#include "check.h"
#include "settings/disabled_event_list.h"

#include <algorithm>
#include <set>
#include <vector>

namespace varnel::fuzz {
namespace {

// Returns the entries that can match an event's number.
std::set<std::string> ListedTexts(std::string_view content, bool readWhole) {
  constexpr std::string_view kListName = "DisabledEvent";
  constexpr std::size_t kPiece = 15;
  const std::size_t name = content.find(kListName);
  if (name == content.npos) return {};
  std::string_view list = content.substr(name + kListName.size());
  if (readWhole) list.remove_prefix(std::min(list.find_first_of("0123456789"), list.size()));
  std::set<std::string> texts;
  while (!list.empty()) {
    const auto entry = list.substr(0, list.find(';'));
    for (std::size_t at = 0; at < entry.size(); at += kPiece) texts.emplace(entry.substr(at, kPiece));
    list.remove_prefix(std::min(entry.size() + 1, list.size()));
  }
  return texts;
}

}  // namespace

void CheckFilter(Input input) {
  const bool readWhole = input.Byte() % 2 == 0;
  auto id = static_cast<std::int32_t>(input.Byte() << 24 | input.Byte());
  const std::string content = input.Rest();
  // The text ends at its first zero and at the end of its allocation, so that the sanitizer notices reading
  // past its end.
  const std::string_view visible = content.c_str();
  std::vector<char> exact(visible.begin(), visible.end());
  exact.push_back('\0');
  const auto size = readWhole ? static_cast<std::uint32_t>(content.size()) : 0;
  const auto listed = [&](std::int32_t event) { return ListsAsDisabled(exact.data(), size, event); };

  const auto texts = ListedTexts(visible, readWhole);
  Require(listed(id) == texts.contains(std::to_string(id)), "an event is disabled if it is listed");
  for (const auto& text : texts) {
    id = std::atoi(text.c_str());
    if (std::to_string(id) == text) Require(listed(id), "a listed event is disabled");
  }
}

}  // namespace varnel::fuzz
