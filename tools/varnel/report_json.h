#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

// A report as it stands on the command line or in JSON; texts in UTF-8.
struct ElementText {
  std::string name;
  std::string text;
  std::vector<std::pair<std::string, std::string>> attributes;  // in the order in which they are written
  std::vector<ElementText> children;
};
struct EventText : ElementText {
  long id = 1;
  long severity = 1;
  std::optional<std::chrono::sys_seconds> time;  // the time of the report where there is none
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

// docs/tool.md describes the form. Throws Failure, with the place, for what is no JSON, keys that are not
// known, values of another kind, and elements that are nested too deeply.
[[nodiscard]] ReportText ParseReport(std::string_view json);

}  // namespace varnel::tool
