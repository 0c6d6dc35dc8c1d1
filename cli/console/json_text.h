#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace varnel::tool {

// Returns JSON in one line, or indented by `indent` blanks a level. The text is ASCII, so a terminal cannot
// take any of it for a command; invalid UTF-8 becomes U+FFFD.
inline std::string JsonText(const nlohmann::ordered_json& json, int indent = -1) {
  return json.dump(indent, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace varnel::tool
