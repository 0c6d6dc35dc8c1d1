#include "selection/selection.h"

#include "console/console.h"
#include "console/pattern.h"
#include "eventfile/event_forms.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace varnel::tool {
namespace {

Failure Unclear(const char* option, const std::string& value, const char* wanted) {
  return Failure(std::string("--") + option + " " + Printable(value) + ": not " + wanted);
}

// Returns the values of all texts.
template <class Parse>
auto ParseAll(const char* option, const std::vector<std::string>& texts, const char* wanted,
              const Parse& parse) {
  std::vector<typename decltype(parse(std::string_view()))::value_type> values;
  for (const std::string& text : texts) {
    const auto value = parse(text);
    if (!value) throw Unclear(option, text, wanted);
    values.push_back(*value);
  }
  return values;
}

auto ParseMoments(const char* option, const std::vector<std::string>& texts, std::chrono::sys_seconds now) {
  constexpr char kWanted[] =
      "a time; write 2026-11-22, 2026-11-22T10:00, 2026-11-22T10:00:30Z (all GMT), a time before now like "
      "90s, 15m, 2h, 3d or 1w, or now, today or yesterday";
  return ParseAll(option, texts, kWanted, [now](std::string_view text) { return ParseMoment(text, now); });
}

auto ParseRanges(const char* option, const std::vector<std::string>& texts) {
  return ParseAll(option, texts, "a number or a range; write 3, 3.., ..5 or 2..4", ParseRange);
}

std::optional<WantedLabel> ParseLabel(std::string_view text) {
  const std::size_t sign = text.find('=');
  if (sign == 0 || sign == text.npos) return std::nullopt;
  std::string name(text.substr(0, sign));
  std::replace(name.begin(), name.end(), '.', '_');  // as in the names of labels
  return WantedLabel{std::move(name), std::string(text.substr(sign + 1))};
}

// True if there are no terms, or one of them has the value.
template <class Term, class Fits>
bool AnyFits(const std::vector<Term>& terms, const Fits& fits) {
  return terms.empty() || std::any_of(terms.begin(), terms.end(), fits);
}

// A missing text is an empty one and does not fit any term.
bool SelectsText(const std::vector<std::string>& patterns, std::string_view text) {
  return AnyFits(patterns, [text](const std::string& pattern) {
    return !text.empty() && MatchesPattern(text, pattern);
  });
}

bool SelectsNumber(const std::vector<NumberRange>& ranges, std::string_view text) {
  return AnyFits(ranges, [text](const NumberRange& range) {
    return IsNumber(text) && range.Has(std::stoll(std::string(text)));
  });
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         std::equal(end.begin(), end.end(), text.end() - static_cast<std::ptrdiff_t>(end.size()),
                    EqualsIgnoringCase<char>);
}

// Removes a number like _2 from the end of a label's name. Returns false if there is none.
bool RemoveNumber(std::string_view& label) {
  const std::size_t digits = label.find_last_not_of("0123456789") + 1;
  if (digits < 2 || digits == label.size() || label[digits - 1] != '_') return false;
  label = label.substr(0, digits - 1);
  return true;
}

}  // namespace

bool IsLabelNamed(std::string_view label, std::string_view name) {
  do {
    if (EndsWith(label, name) &&
        (label.size() == name.size() || label[label.size() - name.size() - 1] == '_'))
      return true;
  } while (RemoveNumber(label));
  return false;
}

Selection::Selection(const SelectionTerms& terms, std::chrono::sys_seconds now)
    : since_(ParseMoments("since", terms.since, now)),
      until_(ParseMoments("until", terms.until, now)),
      severities_(ParseRanges("severity", terms.severity)),
      ids_(ParseRanges("id", terms.id)),
      events_(terms.event),
      products_(terms.product),
      hosts_(terms.host),
      labels_(ParseAll(
          "where", terms.where,
          "NAME=TEXT; write the name of an attribute or child, = and its text, in which * is any text",
          ParseLabel)),
      isEverything_(terms == SelectionTerms()) {}

Selection::Selection(const SelectionTerms& terms)
    : Selection(terms, std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())) {}

std::vector<PlacedEvent> Selection::EventsOf(const EventDocument& document) const {
  if (!SelectsText(products_, AttributeOf(document.product, kProductFacts[0])) ||
      !SelectsText(hosts_, Facts(document.machine, kMachineFacts).Text(0)))
    return {};
  std::vector<PlacedEvent> events = tool::EventsOf(document);
  std::erase_if(events, [this](const PlacedEvent& event) { return !SelectsFacts(event.element); });
  if (labels_.empty() || events.empty()) return events;
  const DocumentLabels labels(document);
  std::erase_if(events, [&](const PlacedEvent& event) { return !SelectsLabels(labels, event.element); });
  return events;
}

bool Selection::SelectsFacts(const Element& event) const {
  const Facts facts(event, kEventFacts);
  if (!SelectsNumber(ids_, facts.Text(0)) || !SelectsNumber(severities_, facts.Text(1)) ||
      !SelectsText(events_, event.Name()))
    return false;
  if (since_.empty() && until_.empty()) return true;
  const std::optional<std::chrono::sys_seconds> time = ParseTime(facts.Text(2));
  return time && AnyFits(since_, [&](const auto& since) { return *time >= since; }) &&
         AnyFits(until_, [&](const auto& until) { return *time < until; });
}

bool Selection::SelectsLabels(const DocumentLabels& labels, const Element& event) const {
  std::vector<bool> found(labels_.size());
  labels.VisitAll(event, [&](std::string_view name, std::string_view text) {
    for (std::size_t i = 0; i < labels_.size(); ++i)
      if (!found[i] && IsLabelNamed(name, labels_[i].name))
        found[i] = MatchesPattern(text, labels_[i].pattern);
  });
  return std::find(found.begin(), found.end(), false) == found.end();
}

}  // namespace varnel::tool
