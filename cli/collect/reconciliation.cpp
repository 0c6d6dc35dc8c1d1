#include "collect/reconciliation.h"

#include "console/console.h"
#include "console/sha256.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace varnel::tool {
namespace {

// Returns the number that sixteen hexadecimal digits write; throws Failure for anything else.
std::uint64_t NumberOf(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
  if (digits.size() != kDigestLength || error != std::errc() || end != digits.data() + digits.size())
    throw Failure("has a digest that is not " + std::to_string(kDigestLength) + " hexadecimal digits");
  return number;
}

std::string SumOf(std::string_view bytes) {
  Sha256 sum;
  sum.Add(bytes);
  return sum.Finish();
}

}  // namespace

Reconciliation::Key Reconciliation::KeyOf(std::string_view id) {
  const std::string sum = SumOf(id);
  return {NumberOf(std::string_view(sum).substr(0, 16)), NumberOf(std::string_view(sum).substr(16, 16))};
}

void Reconciliation::TakeReceipt(const ReceiptLines& receipt) {
  const std::size_t begin = ends_.empty() ? 0 : ends_.back();
  for (std::size_t place = 0; place < receipt.ids.size(); ++place) {
    const Line line{NumberOf(receipt.digests[place]), begin + place, false};
    if (!handedOver_.emplace(KeyOf(receipt.ids[place]), line).second)
      handedOverTwice_.Add(receipt.ids[place]);
  }
  ends_.push_back(begin + receipt.ids.size());
}

LineState Reconciliation::TakeLine(std::string_view line) {
  const LineIdentifier identifier = IdentifyLine(line);
  if (identifier.state != LineState::kIdentified) return identifier.state;
  ++arrived_;
  const auto found = handedOver_.find(KeyOf(identifier.id));
  if (found == handedOver_.end()) {
    foreign_.Add(identifier.id);
    return identifier.state;
  }
  Line& known = found->second;
  if (known.hasArrived) twice_.Add(identifier.id);
  known.hasArrived = true;
  if (compare_ == Compare::kBytes &&
      NumberOf(std::string_view(SumOf(line)).substr(0, kDigestLength)) != known.digest)
    changed_.Add(identifier.id);
  return identifier.state;
}

std::vector<Reconciliation::MissingLines> Reconciliation::Missing() const {
  std::vector<MissingLines> missing(ends_.size());
  for (const auto& [key, line] : handedOver_) {
    if (line.hasArrived) continue;
    const auto end = std::upper_bound(ends_.begin(), ends_.end(), line.number);
    const std::size_t place = line.number - (end == ends_.begin() ? 0 : *(end - 1));
    MissingLines& entry = missing[static_cast<std::size_t>(end - ends_.begin())];
    entry.first = entry.count++ == 0 ? place : std::min(entry.first, place);
  }
  return missing;
}

}  // namespace varnel::tool
