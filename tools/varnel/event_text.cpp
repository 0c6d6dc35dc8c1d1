#include "event_text.h"

#include "text.h"

#include <algorithm>

namespace varnel::tool {
namespace {

constexpr std::size_t kLongestText = 200;  // of a value in a line

// At least so wide; negative: the text stands to the right.
std::string Column(const std::string& text, int width) {
  const std::string shown = Shortened(text);
  const auto length =
      std::count_if(shown.begin(), shown.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
  const auto missing = std::max<std::ptrdiff_t>(std::abs(width) - length, 0);
  const std::string blanks(static_cast<std::size_t>(missing), ' ');
  return width < 0 ? blanks + shown : shown + blanks;
}

void AddElement(std::string& text, const Element& element, std::size_t depth) {
  text.append(depth * 2, ' ');
  text += Shortened(element.name);
  for (const auto& [name, value] : element.attributes)
    text += " " + Shortened(name) + "=\"" + Shortened(value) + "\"";
  if (!IsBlank(element.text)) text += ": " + Shortened(element.text);
  text += '\n';
  for (const Element& child : element.children) AddElement(text, child, depth + 1);
}

}  // namespace

std::string Shortened(const std::string& text) {
  const std::wstring wide = ToWide(text);
  if (wide.size() <= kLongestText) return Printable(text);
  return Printable(wide.substr(0, kLongestText)) + "... (" + std::to_string(wide.size()) + " characters)";
}

std::string EventLines(const EventDocument& document) {
  std::string lines;
  const std::string file = Shortened(document.FileName());
  const std::string product = Column(document.productName + " " + document.productVersion, 24);
  for (const Event& event : document.events)
    lines += Column(event.time, 19) + Column(event.severity, -4) + Column(event.id, -7) + "  " +
             Column(event.name, 24) + "  " + product + "  " + file + "\n";
  return lines;
}

std::string ElementTree(const std::string& path, const Element& root) {
  std::string tree = Printable(path) + "\n";
  AddElement(tree, root, 1);
  return tree;
}

}  // namespace varnel::tool
