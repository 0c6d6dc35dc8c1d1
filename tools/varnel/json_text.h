#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace varnel::tool {

// In a line, or indented by so many blanks a level. ASCII, so that nothing in it can be obeyed by a terminal;
// broken UTF-8 becomes U+FFFD.
inline std::string JsonText(const nlohmann::ordered_json& json, int indent = -1) {
  return json.dump(indent, ' ', true, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace varnel::tool
