#include "catalogue/json_labels.h"

#include <algorithm>

namespace varnel::tool::catalogue {
namespace {

// Adds the labels of what is below an element, as WalkElement of eventfile/event_labels.h does.
void AddLabels(const Content& content, const std::string& path, bool isAlways, std::vector<Label>& labels) {
  const auto add = [&](const std::string& name, std::optional<ValueType> type, bool isThere,
                       const std::string& text) {
    std::string label = path + name;
    std::replace(label.begin(), label.end(), '.', '_');
    labels.push_back({std::move(label), type, isAlways && isThere, text});
  };
  for (const Attribute& attribute : content.attributes)
    add(attribute.name, attribute.type, attribute.isRequired, attribute.text);
  for (const Child& child : content.children) {
    // An element with attributes or children has a label of its own only if its text is not blank.
    const bool isLeaf = child.attributes.empty() && child.children.empty();
    const bool mayBeBlank =
        child.type && (child.type->kind == ValueKind::kText || child.type->kind == ValueKind::kPath);
    if (child.type || !std::any_of(child.attributes.begin(), child.attributes.end(),
                                   [](const Attribute& attribute) { return attribute.isRequired; }))
      add(child.name, child.type, child.isRequired && (isLeaf || (child.type && !mayBeBlank)), child.text);
    AddLabels(child, path + child.name + "_", isAlways && child.isRequired, labels);
  }
}

}  // namespace

std::vector<Label> LabelsOf(const Event& event) {
  std::vector<Label> labels;
  AddLabels(event, "", true, labels);
  return labels;
}

}  // namespace varnel::tool::catalogue
