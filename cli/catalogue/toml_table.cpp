#include "catalogue/toml_table.h"

#include <algorithm>

namespace varnel::tool::catalogue {

namespace {

// Returns the length of the text in quotation marks, or of the comment, with which `toml` begins; 0 if it
// begins with neither.
std::size_t LengthOfText(std::string_view toml) {
  if (toml.front() == '#') return std::min(toml.find('\n'), toml.size());
  const char quote = toml.front();
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
  for (std::size_t at = 0; at < toml.size();) {
    const std::size_t length = LengthOfText(toml.substr(at));
    const std::string_view passed = toml.substr(at, std::max<std::size_t>(length, 1));
    at += passed.size();
    const auto lines = static_cast<std::size_t>(std::count(passed.begin(), passed.end(), '\n'));
    position.line += lines;
    if (lines > 0) dots = 0;
    if (passed == "." && ++dots > kMostKeyDots) return position;
  }
  return std::nullopt;
}

Position PositionOf(const toml::source_region& region) {
  return {region.begin.line, region.begin.column};
}

TableReader::TableReader(const toml::table& table, std::string_view what,
                         std::initializer_list<std::string_view> known, Findings& findings)
    : table_(table), what_(what), at_(PositionOf(table.source())), findings_(findings) {
  std::string list;
  for (const std::string_view key : known) list.append(list.empty() ? "" : ", ").append(key);
  for (const auto& [key, value] : table)
    if (std::find(known.begin(), known.end(), key.str()) == known.end())
      Say(PositionOf(key.source()),
          "unknown key " + std::string(key.str()) + ": the keys of " + std::string(what) + " are " + list);
}

Position TableReader::AtOf(std::string_view key) const {
  const toml::node* const node = table_.get(key);
  return node ? PositionOf(node->source()) : at_;
}

void TableReader::SayMissing(std::string_view key, std::string_view form) {
  Say(at_, std::string(what_) + " has no " + std::string(key) + ": add " + std::string(key) + " = " +
               std::string(form));
}

template <class Value>
const Value* TableReader::Get(std::string_view key, std::string_view form) {
  const toml::node* const node = table_.get(key);
  if (!node) return nullptr;
  const Value* const value = node->as<Value>();
  if (!value) Say(PositionOf(node->source()), std::string(key) + " must be " + std::string(form));
  return value;
}

std::string TableReader::Text(std::string_view key) {
  const auto* const value = Get<toml::value<std::string>>(key, "a text in quotation marks");
  return value ? value->get() : std::string();
}

std::string TableReader::NeededText(std::string_view key) {
  if (!Has(key)) SayMissing(key, "\"...\"");
  return Text(key);
}

std::int64_t TableReader::NeededInteger(std::string_view key, std::string_view example) {
  if (!Has(key)) SayMissing(key, example);
  const auto* const value = Get<toml::value<std::int64_t>>(key, "a whole number");
  return value ? value->get() : 0;
}

bool TableReader::Flag(std::string_view key) {
  const auto* const value = Get<toml::value<bool>>(key, "true or false");
  return value && value->get();
}

std::vector<PlacedText> TableReader::NeededTexts(std::string_view key) {
  if (!Has(key)) SayMissing(key, "[\"...\", \"...\"]");
  std::vector<PlacedText> texts;
  const toml::array* const array = Get<toml::array>(key, "a list of texts: [\"...\", \"...\"]");
  if (!array) return texts;
  for (const toml::node& node : *array)
    if (const auto* const text = node.as_string())
      texts.push_back({text->get(), PositionOf(node.source())});
    else
      Say(PositionOf(node.source()), "each of " + std::string(key) + " must be a text in quotation marks");
  return texts;
}

const toml::table* TableReader::Table(std::string_view key) {
  return Get<toml::table>(key, "a table: [" + std::string(key) + "]");
}

std::vector<const toml::table*> TableReader::Tables(std::string_view key) {
  std::vector<const toml::table*> tables;
  const toml::array* const array = Get<toml::array>(key, "a list of tables: [[" + std::string(key) + "]]");
  if (!array) return tables;
  for (const toml::node& node : *array)
    if (const toml::table* const table = node.as_table())
      tables.push_back(table);
    else
      Say(PositionOf(node.source()),
          "each " + std::string(key) + " must be a table: [[" + std::string(key) + "]]");
  return tables;
}

}  // namespace varnel::tool::catalogue
