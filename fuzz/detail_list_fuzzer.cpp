#include "fuzz_input.h"
#include "logging/detail_list.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <string>

namespace varnel::fuzz {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return lower;
}

std::vector<std::string> ExpectedItems(std::string_view text) {
  constexpr std::size_t kMaxItems = 15;
  std::vector<std::string> items;
  for (const auto piece : SplitAtSemicolons(text)) {
    if (items.size() < kMaxItems) items.push_back(Lower(piece));
  }
  return items;
}

void CheckReplaced(DetailList& list, std::string_view text, std::string_view facility) {
  list.Replace(Terminated(text).get());
  Require(list.MayContain(), "a replaced list may contain something");
  const auto items = ExpectedItems(text);
  for (const auto& item : items) Require(list.Contains(Terminated(item).get()), "every item is contained");
  const bool expected = std::find(items.begin(), items.end(), Lower(facility)) != items.end();
  Require(list.Contains(Terminated(facility).get()) == expected, "nothing but the items is contained");
}

void CheckCleared(DetailList& list, std::string_view facility) {
  list.Clear();
  Require(!list.MayContain() && !list.Contains(Terminated(facility).get()), "a cleared list is empty");
}

}  // namespace
}  // namespace varnel::fuzz

// One list lives through many texts; what a replacement leaves behind is reported as a leak.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel::fuzz;
  FuzzedDataProvider input(data, size);
  varnel::DetailList list;
  std::string facility;
  while (input.remaining_bytes() > 0) {
    const std::string text = input.ConsumeRandomLengthString();
    facility = input.ConsumeRandomLengthString();
    CheckReplaced(list, UpToFirstZero(text), UpToFirstZero(facility));
    if (input.ConsumeBool()) CheckCleared(list, UpToFirstZero(facility));
  }
  CheckCleared(list, UpToFirstZero(facility));
  return 0;
}
