#pragma once

#include "catalogue/catalogue.h"

#ifndef TOML_EXCEPTIONS
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#define TOML_ENABLE_WINDOWS_COMPAT 0
#define TOML_MAX_NESTED_VALUES 24
#endif
#include <toml++/toml.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

using Findings = std::vector<Finding>;

// A text with the place of its value.
struct PlacedText {
  std::string text;
  Position at;
};

// Reads the keys of one table. Each call reports a value of the wrong type, and each call that needs a key
// reports its absence at the table's own place; the result is then empty or the default.
class TableReader {
 public:
  // `what` says what the table describes: "an event". `known` are its keys; reports all others.
  TableReader(const toml::table& table, std::string_view what, std::initializer_list<std::string_view> known,
              Findings& findings);

  [[nodiscard]] Position At() const { return at_; }
  // Returns the place of a value, or of the table if it has no such key.
  [[nodiscard]] Position AtOf(std::string_view key) const;
  [[nodiscard]] bool Has(std::string_view key) const { return table_.contains(key); }
  [[nodiscard]] bool HasText(std::string_view key) const { return table_.get_as<std::string>(key); }

  [[nodiscard]] std::string Text(std::string_view key);
  [[nodiscard]] std::string NeededText(std::string_view key);
  // `example` is a value for the message.
  [[nodiscard]] std::int64_t NeededInteger(std::string_view key, std::string_view example);
  [[nodiscard]] bool Flag(std::string_view key);
  [[nodiscard]] std::vector<PlacedText> NeededTexts(std::string_view key);
  // Returns a table; null if it is missing.
  [[nodiscard]] const toml::table* Table(std::string_view key);
  // Returns the tables of an array of tables.
  [[nodiscard]] std::vector<const toml::table*> Tables(std::string_view key);

  void Say(Position at, std::string text) { findings_.push_back({at, false, std::move(text)}); }
  void Warn(Position at, std::string text) { findings_.push_back({at, true, std::move(text)}); }

 private:
  // Returns the value if it has the type; otherwise null, and reports another type.
  template <class Value>
  const Value* Get(std::string_view key, std::string_view form);
  void SayMissing(std::string_view key, std::string_view form);

  const toml::table& table_;
  const std::string_view what_;
  const Position at_;
  Findings& findings_;
};

// Keys of more parts than this are refused, because the parser's tables are freed by recursion.
constexpr std::size_t kMostKeyDots = 32;
// Returns the place of the first key with more dots, or of as many other dots outside of texts in one line.
[[nodiscard]] std::optional<Position> FindDeepKey(std::string_view toml);

[[nodiscard]] Position PositionOf(const toml::source_region& region);

}  // namespace varnel::tool::catalogue
