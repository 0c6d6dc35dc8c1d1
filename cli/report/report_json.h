#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

// An element of a report from the command line or from JSON, in UTF-8.
struct ElementText {
  std::string name;
  std::string text;
  std::vector<std::pair<std::string, std::string>> attributes;  // in document order
  std::vector<ElementText> children;
};
struct EventText : ElementText {
  long id = 1;
  long severity = 1;
  std::optional<std::chrono::sys_seconds> time;  // if empty, the time of the report
};
struct ReportText {
  std::string softwareId = "EXAMPLE__1000";
  std::string root = "ProductEvents";
  std::string element = "Product";
  std::string name = "Example";
  std::string version = "1.0";
  std::string family = "Endpoint";
  std::string osName;
  std::string userName;
  std::vector<EventText> events;
};

// Parses a report in the format of docs/tool.md. Throws Failure with the place in the document for invalid
// JSON, unknown keys, keys given twice, values of the wrong type, elements that are nested more than 100
// levels deep, and a report without events.
[[nodiscard]] ReportText ParseReport(std::string_view json);

}  // namespace varnel::tool
