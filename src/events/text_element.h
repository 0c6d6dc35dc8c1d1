#pragma once

#include "xml/tree.h"

#include <string_view>

namespace varnel {

// An element with one text that names `parent` as its container; the caller appends it there.
inline std::unique_ptr<AdvXMLParser::Element> MakeTextElement(AdvXMLParser::NodeContainer& parent,
                                                              std::wstring_view name,
                                                              std::wstring_view text) {
  auto element = std::make_unique<AdvXMLParser::Element>(name, &parent);
  element->AddText(text);
  return element;
}

// Appends an element with one text to the parent's children and returns it. When there is no memory the
// parent stays as it was.
inline AdvXMLParser::Element* AddTextElement(AdvXMLParser::NodeContainer& parent, std::wstring_view name,
                                             std::wstring_view text) {
  auto element = MakeTextElement(parent, name, text);
  AdvXMLParser::Element* const added = element.get();
  parent.Append(std::move(element));
  return added;
}

// The decimal digits of a number, with a leading minus sign where needed, without the heap.
class DecimalText {
 public:
  explicit DecimalText(long number) noexcept { _ltow(number, digits_, 10); }
  const wchar_t* c_str() const noexcept { return digits_; }

 private:
  wchar_t digits_[12];
};

}  // namespace varnel
