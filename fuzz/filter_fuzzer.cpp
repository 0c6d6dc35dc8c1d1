#include "fuzz_input.h"
#include "settings/disabled_event_list.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <charconv>
#include <set>
#include <string>

namespace varnel::fuzz {
namespace {

// What can be compared with an event's number, found by cutting the text up rather than by walking over it.
std::set<std::string> ListedTexts(std::string_view content, bool readWhole) {
  constexpr std::string_view kListName = "DisabledEvent";
  constexpr std::size_t kPiece = 15;
  const std::size_t name = content.find(kListName);
  if (name == std::string_view::npos) return {};
  std::string_view list = content.substr(name + kListName.size());
  if (readWhole) list.remove_prefix(std::min(list.find_first_of("0123456789"), list.size()));

  std::set<std::string> texts;
  for (const auto entry : SplitAtSemicolons(list)) {
    for (std::size_t at = 0; at < entry.size(); at += kPiece) texts.emplace(entry.substr(at, kPiece));
  }
  return texts;
}

void Check(const std::string& content, bool readWhole, std::int32_t someId) {
  const std::string_view visible = UpToFirstZero(content);
  const auto all = Terminated(content);
  const auto cut = Terminated(visible);
  const auto listed = [&](std::int32_t id) {
    const auto size = [&](std::string_view text) {
      return readWhole ? static_cast<std::uint32_t>(text.size()) : 0;
    };
    const bool answer = ListsAsDisabled(all.get(), size(content), id);
    Require(answer == ListsAsDisabled(cut.get(), size(visible), id), "what follows a zero changes nothing");
    return answer;
  };

  const auto texts = ListedTexts(visible, readWhole);
  Require(listed(someId) == texts.contains(std::to_string(someId)), "an event is disabled if it is listed");
  for (const auto& text : texts) {
    std::int32_t id = 0;
    std::from_chars(text.data(), text.data() + text.size(), id);
    if (std::to_string(id) == text) Require(listed(id), "a listed event is disabled");
  }
}

}  // namespace
}  // namespace varnel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const bool readWhole = input.ConsumeBool();
  const auto id = input.ConsumeIntegral<std::int32_t>();
  varnel::fuzz::Check(input.ConsumeRemainingBytesAsString(), readWhole, id);
  return 0;
}
