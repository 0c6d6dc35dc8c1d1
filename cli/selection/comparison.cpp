#include "selection/comparison.h"

#include "console/utf8.h"
#include "eventfile/event_forms.h"
#include "eventfile/label_walk.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <tuple>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostValues = 1'000;     // of one label of a kind
constexpr std::size_t kMostEntries = 100'000;  // kinds, labels and values
constexpr std::size_t kLongestValue = 200;     // bytes
constexpr double kMuchMore = 3;

// Returns a text that is short, and different for different texts.
std::string Short(std::string_view text) {
  if (text.size() <= kLongestValue) return std::string(text);
  std::uint64_t digest = 14'695'981'039'346'656'037U;  // FNV-1a
  for (const char byte : text) digest = (digest ^ static_cast<unsigned char>(byte)) * 1'099'511'628'211U;
  char end[64];
  std::snprintf(end, sizeof(end), "... (%zu bytes, digest %016llx)", text.size(),
                static_cast<unsigned long long>(digest));
  std::size_t length = kLongestValue - sizeof(end);
  while (ContinuesUtf8(text[length])) --length;
  return std::string(text.substr(0, length)) + end;
}

// True for a text like 2026-11-22T10:00..., or a GUID with or without braces.
bool LooksUnique(std::string_view text) {
  const auto has = [text](std::string_view form, std::size_t at) {
    if (text.size() < at + form.size()) return false;
    return std::equal(form.begin(), form.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                      [](char wanted, char given) {
                        const bool isDigit = given >= '0' && given <= '9';
                        const bool isHex = isDigit || ((given | 0x20) >= 'a' && (given | 0x20) <= 'f');
                        return wanted == '0' ? isDigit : wanted == 'x' ? isHex : wanted == given;
                      });
  };
  constexpr std::string_view kGuid = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return has("0000-00-00T00:00", 0) || has("0000-00-00 00:00", 0) || has(kGuid, 0) || has(kGuid, 1);
}

// Returns the difference that two counts are when side 1 usually has `scale` times as many; nothing for none.
std::optional<Comparison::Difference> DifferenceOf(const Comparison::Counts& counts, double scale) {
  const double expected = static_cast<double>(counts[0]) * scale, found = static_cast<double>(counts[1]);
  if (expected <= kMuchMore * found && found <= kMuchMore * expected) return std::nullopt;
  Comparison::Difference difference;
  difference.how = counts[0] == 0 || counts[1] == 0 ? Comparison::How::kOnly : Comparison::How::kMore;
  difference.side = expected > found ? 0 : 1;
  difference.counts = counts;
  return difference;
}

}  // namespace

bool Comparison::Label::IsVarying() const {
  constexpr std::size_t kFew = 8;
  const std::size_t all = counts[0] + counts[1];
  return isFull || (values.size() * 4 > all * 3 && (all >= kFew || lookUnique));
}

void Comparison::Add(std::size_t side, const std::vector<PlacedEvent>& events) {
  for (const auto& [event, place] : events) {
    ++events_[side];
    const Facts facts(event, kEventFacts);
    std::pair key(Short(facts.Text(0)), Short(event.Name()));
    auto kind = kinds_.find(key);
    if (kind == kinds_.end()) {
      if (!HasRoom()) continue;
      kind = kinds_.emplace(std::move(key), Kind()).first;
    }
    ++kind->second.counts[side];
    const auto add = [&](std::string_view path, std::string_view text) {
      AddLabel(side, kind->second, path, text);
    };
    if (IsNumber(facts.Text(1))) add(kEventFacts[1], facts.Text(1));
    WalkEventLabels(event, facts, add);
  }
}

void Comparison::AddLabel(std::size_t side, Kind& kind, std::string_view path, std::string_view text) {
  const std::string name = Short(path);
  auto label = kind.labels.find(name);
  if (label == kind.labels.end()) {
    if (!HasRoom()) return;
    label = kind.labels.emplace(name, Label()).first;
  }
  Label& known = label->second;
  ++known.counts[side];
  known.lookUnique = known.lookUnique && LooksUnique(text);
  if (known.isFull) return;
  const std::string value = Short(text);
  auto count = known.values.find(value);
  if (count == known.values.end()) {
    if (known.values.size() == kMostValues || !HasRoom()) {
      known.isFull = true;
      entries_ -= known.values.size();
      known.values.clear();
      return;
    }
    count = known.values.emplace(value, Counts()).first;
  }
  ++count->second[side];
}

bool Comparison::HasRoom() {
  isCut_ = isCut_ || entries_ == kMostEntries;
  if (!isCut_) ++entries_;
  return !isCut_;
}

// The median of the kinds that both sides have, and of 1, so that a single kind can differ; of two in the
// middle the one that is closer to 1.
double Comparison::Scale() const {
  std::vector<double> ratios = {1};
  for (const auto& [key, kind] : kinds_)
    if (kind.counts[0] > 0 && kind.counts[1] > 0)
      ratios.push_back(static_cast<double>(kind.counts[1]) / static_cast<double>(kind.counts[0]));
  std::sort(ratios.begin(), ratios.end());
  const double lower = ratios[(ratios.size() - 1) / 2], upper = ratios[ratios.size() / 2];
  return std::abs(std::log(lower)) < std::abs(std::log(upper)) ? lower : upper;
}

Comparison::Result Comparison::Compare() const {
  Result result;
  result.scale = Scale();
  // Adds a difference, if there is one, and returns whether there is.
  const auto add = [&result](const Subject& subject, const Counts& counts, double scale) {
    std::optional<Difference> difference = DifferenceOf(counts, scale);
    if (!difference) return false;
    difference->subject = subject;
    result.differences.push_back(std::move(*difference));
    return true;
  };
  for (const auto& [key, kind] : kinds_) {
    Subject subject{key.first, key.second, {}, {}};
    const bool differs = add(subject, kind.counts, result.scale);
    if (kind.counts[0] == 0 || kind.counts[1] == 0) continue;
    // The labels of a kind that differs differ as well: compare their share in its events.
    const double scale =
        differs ? static_cast<double>(kind.counts[1]) / static_cast<double>(kind.counts[0]) : result.scale;
    for (const auto& [name, label] : kind.labels) {
      subject.label = name;
      if (label.IsVarying()) {
        subject.value.assign(1, '*');
        if (!add(subject, label.counts, scale)) result.varying.push_back(subject);
        continue;
      }
      for (const auto& [value, counts] : label.values) {
        subject.value = value;
        add(subject, counts, scale);
      }
    }
  }
  const auto largest = [](const Difference& difference) {
    return std::max(difference.counts[0], difference.counts[1]);
  };
  std::stable_sort(result.differences.begin(), result.differences.end(),
                   [&](const Difference& one, const Difference& other) {
                     return std::tuple(one.how, one.side, largest(other)) <
                            std::tuple(other.how, other.side, largest(one));
                   });
  return result;
}

}  // namespace varnel::tool
