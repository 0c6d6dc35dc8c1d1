#pragma once

#include "eventfile/xml_tree.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The events of a product, as its catalogue declares them (docs/catalogue.md).
namespace varnel::tool::catalogue {

enum class Sensitivity { kNone, kPersonal, kSecret };

enum class ValueKind { kText, kInteger, kBoolean, kTime, kGuid, kSha256, kIp, kPath, kOwn };

// The type of a value: a built-in one, or one of Catalogue::types.
struct ValueType {
  ValueKind kind = ValueKind::kText;
  std::size_t own = 0;  // index in Catalogue::types for kOwn, otherwise 0
  bool operator==(const ValueType&) const = default;
};

// A type of the catalogue's own: a text that is one of `values`.
struct OwnType {
  std::string name;
  std::vector<std::string> values;
  std::vector<Position> valuesAt;
  std::string text;
  Position at;
};

struct Attribute {
  std::string name;
  ValueType type;
  bool isRequired = false;
  Sensitivity sensitivity = Sensitivity::kNone;
  std::string text;
  std::string example;  // a value for the reference; empty if the catalogue has none
  Position at;          // of the name
};

struct Child;

// The attributes and children of an event or a child, in the order of the catalogue. No two names are equal.
struct Content {
  std::vector<Attribute> attributes;
  std::vector<Child> children;
};

struct Child : Content {
  std::string name;
  std::optional<ValueType> type;  // of the child's own text; without a type it has no text
  bool isRequired = false;
  bool isMany = false;  // may come several times
  Sensitivity sensitivity = Sensitivity::kNone;
  std::string text;
  std::string example;
  Position at;
};

struct Event : Content {
  std::string name;
  std::int32_t id = 0;
  std::int32_t severity = 0;
  std::string since;  // the product's version that reported it first
  std::string text;
  Position at;
  Position idAt;
};

struct Product {
  std::string softwareId;
  std::string root;
  std::string element;
  std::string name;
  std::string family;
  Position at;
};

struct Catalogue {
  Product product;
  std::vector<OwnType> types;
  std::vector<Event> events;
};

// One line of `varnel catalogue check`. Columns count characters from 1.
struct Finding {
  Position at;
  bool isWarning = false;
  std::string text;
};

}  // namespace varnel::tool::catalogue
