#include "catalogue/toml_table.h"

#include <algorithm>

namespace varnel::tool::catalogue {

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
