#include "catalogue/toml_scan.h"

#include <algorithm>

namespace varnel::tool::catalogue {
namespace {

// Returns the length of the text in quotation marks, or of the comment, with which `toml` begins; 0 if it
// begins with neither.
std::size_t LengthOfText(std::string_view toml) {
  const char quote = toml.front();
  if (quote == '#') return std::min(toml.find('\n'), toml.size());
  if (quote != '"' && quote != '\'') return 0;
  const std::string_view three = quote == '"' ? "\"\"\"" : "\'\'\'";
  const bool hasLines = toml.starts_with(three);
  for (std::size_t at = hasLines ? 3 : 1; at < toml.size(); ++at) {
    if (toml[at] == '\\' && quote == '"') {
      ++at;
    } else if (hasLines && toml.substr(at).starts_with(three)) {
      return at + 3;
    } else if (!hasLines && (toml[at] == quote || toml[at] == '\n')) {
      return at + 1;
    }
  }
  return toml.size();
}

}  // namespace

std::optional<Position> FindDeepKey(std::string_view toml) {
  Position position;
  std::size_t dots = 0;
  while (!toml.empty()) {
    const std::string_view passed = toml.substr(0, std::max<std::size_t>(LengthOfText(toml), 1));
    toml.remove_prefix(passed.size());
    const auto lines = static_cast<std::size_t>(std::count(passed.begin(), passed.end(), '\n'));
    position.line += lines;
    if (lines > 0) dots = 0;
    if (passed == "." && ++dots > kMostDots) return position;
  }
  return std::nullopt;
}

}  // namespace varnel::tool::catalogue
