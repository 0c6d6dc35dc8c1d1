#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace varnel::tool::catalogue {

// Whom a change breaks. A rule may break several, so these are bits.
enum Breaks : unsigned {
  kSource = 1,  // a product's code, which no longer compiles
  kFiles = 2,   // readers of event files that were written before the change, and rules on them
  kPolicy = 4,  // filter and trigger policy of deployed agents, which now mean something else
  kDocs = 8,    // no one: only the reference changes
};
struct BreaksName {
  Breaks breaks;
  std::string_view name;  // for --allow
};
constexpr std::array<BreaksName, 4> kBreaksNames = {
    {{kSource, "SOURCE"}, {kFiles, "FILES"}, {kPolicy, "POLICY"}, {kDocs, "DOCS"}}};

// The rules of `varnel catalogue diff`. docs/catalogue.md explains each.
enum class Rule {
  kClassGone,
  kConstructor,
  kSetter,
  kEnumeratorGone,
  kProduct,
  kEventGone,
  kGone,
  kRequired,
  kType,
  kValueGone,
  kOnce,
  kIdentifier,
  kSeverity,
  kIdentifierTaken,
  kSoftwareId,
  kAdded,
  kLooser,
  kDescription,
  kOrder,
};
struct RuleText {
  Rule rule;
  std::string_view name;
  unsigned breaks;
};
// In the order of Rule.
constexpr RuleText kRules[] = {
    {Rule::kClassGone, "class gone", kSource},
    {Rule::kConstructor, "constructor changed", kSource},
    {Rule::kSetter, "setter changed", kSource},
    {Rule::kEnumeratorGone, "enumerator gone", kSource},
    {Rule::kProduct, "product changed", kFiles},
    {Rule::kEventGone, "event gone", kFiles},
    {Rule::kGone, "attribute or child gone", kFiles},
    {Rule::kRequired, "now required", kFiles},
    {Rule::kType, "type narrower", kFiles},
    {Rule::kValueGone, "value gone", kFiles},
    {Rule::kOnce, "only once", kFiles},
    {Rule::kIdentifier, "identifier changed", kFiles | kPolicy},
    {Rule::kSeverity, "severity changed", kFiles | kPolicy},
    {Rule::kIdentifierTaken, "identifier of another event", kPolicy},
    {Rule::kSoftwareId, "software identifier changed", kPolicy},
    {Rule::kAdded, "added", kDocs},
    {Rule::kLooser, "looser", kDocs},
    {Rule::kDescription, "described otherwise", kDocs},
    {Rule::kOrder, "order changed", kDocs},
};

[[nodiscard]] constexpr const RuleText& TextOf(Rule rule) {
  return kRules[static_cast<std::size_t>(rule)];
}

}  // namespace varnel::tool::catalogue
