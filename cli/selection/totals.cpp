#include "selection/totals.h"

#include "console/printable.h"
#include "eventfile/document_labels.h"
#include "eventfile/event_csv.h"
#include "eventfile/event_forms.h"
#include "eventfile/event_text.h"
#include "selection/selection.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostRows = 20;
constexpr std::size_t kBar = 20;  // characters of a bar of 100 %

std::string Percent(double percent) {
  char text[16];
  std::snprintf(text, sizeof(text), "%.1f", percent);
  return text;
}

std::string Line(std::size_t count, double percent, const std::string& what) {
  const auto filled = static_cast<std::size_t>(std::lround(percent / 100 * static_cast<double>(kBar)));
  return Column(std::to_string(count), -8) + Column(Percent(percent), -7) + " %  " +
         std::string(filled, '#') + std::string(kBar - filled, '.') + "  " + what + "\n";
}

}  // namespace

void Totals::Add(const EventDocument& document, const std::vector<PlacedEvent>& events) {
  events_ += events.size();
  if (field_ == "product") return Count(AttributeOf(document.product, kProductFacts[0]), events.size());
  if (field_ == "host") return Count(Facts(document.machine, kMachineFacts).Text(0), events.size());
  if (field_ != "event" && field_ != "severity" && field_ != "id") return CountLabels(document, events);
  for (const PlacedEvent& event : events) {
    const Facts facts(event.element, kEventFacts);
    if (field_ == "event")
      Count(event.element.Name());
    else if (field_ == "id")
      Count(facts.Text(0));
    else
      Count(IsNumber(facts.Text(1)) ? facts.Text(1) : std::string_view());
  }
}

void Totals::CountLabels(const EventDocument& document, const std::vector<PlacedEvent>& events) {
  const DocumentLabels labels(document);
  for (const PlacedEvent& event : events) {
    std::set<std::string_view> values;
    labels.VisitAll(event.element, [&](std::string_view name, std::string_view text) {
      if (IsLabelNamed(name, field_)) values.insert(text);
    });
    if (values.empty()) Count({});
    for (const std::string_view value : values) Count(value);
  }
}

void Totals::Count(std::string_view value, std::size_t number) {
  if (number == 0) return;
  const auto known = counts_.find(value);
  if (known != counts_.end())
    known->second += number;
  else
    counts_.emplace(value, number);
}

std::vector<Totals::Row> Totals::Rows() const {
  std::vector<Row> rows(counts_.begin(), counts_.end());
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row& one, const Row& other) { return one.second > other.second; });
  return rows;
}

double Totals::PercentOf(std::size_t number) const {
  return 100 * static_cast<double>(number) / static_cast<double>(events_);
}

std::string Totals::Table() const {
  const std::vector<Row> rows = Rows();
  std::string table;
  std::size_t others = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& [value, count] = rows[i];
    if (i < kMostRows)
      table += Line(count, PercentOf(count), value.empty() ? "(none)" : Shortened(value));
    else
      others += count;
  }
  if (others > 0)
    table += Line(others, std::min(PercentOf(others), 100.0),
                  "(" + Counted(rows.size() - kMostRows, "other value") + ")");
  return table;
}

std::string Totals::Csv() const {
  std::string csv = CsvRow({field_, "events", "percent"});
  for (const auto& [value, count] : Rows())
    csv += CsvRow({value, std::to_string(count), Percent(PercentOf(count))});
  return csv;
}

}  // namespace varnel::tool
