#pragma once

#include "eventfile/event_document.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

// Counts how many events have each value of a field: product, host, event, severity or id; another word is
// the name of a label (selection.h). An event with several such labels counts for each of their values, one
// without the field for an empty value. Needs memory for each different value.
class Totals {
 public:
  explicit Totals(std::string field) : field_(std::move(field)) {}
  void Add(const EventDocument& document, const std::vector<PlacedEvent>& events);
  // Returns a line for each of the most frequent values: number, share, bar and value. A last line has the
  // number of the others.
  [[nodiscard]] std::string Table() const;
  // Returns a row for each value (event_csv.h).
  [[nodiscard]] std::string Csv() const;

 private:
  using Row = std::pair<std::string_view, std::size_t>;
  void Count(std::string_view value, std::size_t number = 1);
  void CountLabels(const EventDocument& document, const std::vector<PlacedEvent>& events);
  // Returns all values, the most frequent first.
  [[nodiscard]] std::vector<Row> Rows() const;
  [[nodiscard]] double PercentOf(std::size_t number) const;

  const std::string field_;
  std::map<std::string, std::size_t, std::less<>> counts_;
  std::size_t events_ = 0;
};

}  // namespace varnel::tool
