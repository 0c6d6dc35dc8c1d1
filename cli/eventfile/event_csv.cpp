#include "eventfile/event_csv.h"

#include "console/printable.h"
#include "eventfile/allowance.h"
#include "eventfile/event_labels.h"

namespace varnel::tool {
namespace {

void AppendField(std::string& row, std::string_view text) {
  std::string field = Printable(Cut(text), LineEnds::kKeep);
  if (!field.empty() && std::string_view("=+-@\t\r").find(field[0]) != std::string_view::npos)
    field.insert(0, 1, '\'');
  if (field.find_first_of("\",\r\n") == field.npos) {
    row += field;
    return;
  }
  row += '"';
  for (const char letter : field) row.append(letter == '"' ? 2 : 1, letter);
  row += '"';
}

}  // namespace

std::string CsvRow(std::initializer_list<std::string_view> texts) {
  std::string row;
  for (const std::string_view& text : texts) {
    if (&text != texts.begin()) row += ',';
    AppendField(row, text);
  }
  return row + "\r\n";
}

std::string CsvHeads() {
  return CsvRow({"time", "severity", "id", "event", "product", "version", "machine", "file"});
}

std::size_t WriteCsv(const EventDocument& document, const std::vector<PlacedEvent>& events,
                     const EventSink& sink) {
  const std::string_view product = AttributeOf(document.product, kProductFacts[0]);
  const std::string_view version = AttributeOf(document.product, kProductFacts[1]);
  const std::string_view machine = Facts(document.machine, kMachineFacts).Text(0);
  Allowance allowance;
  std::size_t leftOut = 0;
  for (const PlacedEvent& event : events) {
    const Facts facts(event.element, kEventFacts);
    const std::string row = CsvRow({facts.Text(2), facts.Text(1), facts.Text(0), event.element.Name(),
                                    product, version, machine, document.path});
    if (row.size() > allowance.Left(event.element.LastOffset())) {
      ++leftOut;
      continue;
    }
    sink(event, row);
    allowance.Use(row.size());
  }
  return leftOut;
}

}  // namespace varnel::tool
