// Part of <varnel/testing.hpp>: the reports that a captured library has saved, parsed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <varnel/varnel.hpp>
#include <vector>

namespace varnel::testing {

// One element of an event file. Texts are what an XML reader gets: without entities, and with line ends and
// blanks of attributes normalised.
struct XmlElement {
  std::wstring name;
  std::wstring text;  // of the element itself, without that of its children
  std::vector<std::pair<std::wstring, std::wstring>> attributes;
  std::vector<XmlElement> children;

  // Return null if there is no attribute or child of this name. FindChild returns the first child.
  const std::wstring* FindAttribute(const Text& wanted) const noexcept {
    for (const auto& attribute : attributes)
      if (attribute.first == wanted.View()) return &attribute.second;
    return nullptr;
  }
  const XmlElement* FindChild(const Text& wanted) const noexcept {
    for (const XmlElement& child : children)
      if (child.name == wanted.View()) return &child;
    return nullptr;
  }

  // Throw std::out_of_range, whose words name what is missing, if there is no attribute or child of this
  // name.
  const std::wstring& Attribute(const Text& wanted) const {
    const std::wstring* const found = FindAttribute(wanted);
    if (!found) Miss("attribute ", wanted);
    return *found;
  }
  const XmlElement& Child(const Text& wanted) const {
    const XmlElement* const found = FindChild(wanted);
    if (!found) Miss("child ", wanted);
    return *found;
  }

 private:
  [[noreturn]] void Miss(const char* what, const Text& wanted) const {
    throw std::out_of_range("varnel::testing: element " + varnel::detail::Quoted(std::wstring_view(name)) +
                            " has no " + what + varnel::detail::Quoted(wanted));
  }
};

// One event file.
struct ReportFile {
  std::wstring name;         // without the folder; a trigger event's ends in .txml
  bool isForServer = false;  // saved to the server folder, not to the agent folder
  std::string bytes;
  XmlElement root;                 // everything
  XmlElement machine;              // the element "MachineInfo"
  XmlElement product;              // the product element
  std::vector<XmlElement> events;  // children of the product element, those without an "EventID" left out
};

namespace detail {

// Reads what the library writes: elements, attributes and texts. Throws std::runtime_error for anything else.
class XmlParser {
 public:
  explicit XmlParser(std::wstring_view text) : text_(text) {}

  XmlElement Parse() {
    constexpr std::wstring_view kDeclaration = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    if (!Take(kDeclaration)) Refuse("there is no XML declaration");
    Expect(L'<');
    XmlElement root = ParseElement(0);
    if (at_ != text_.size()) Refuse("something follows the root element");
    return root;
  }

 private:
  static constexpr int kDeepest = 256;  // the same limit as that of `varnel check`

  [[noreturn]] void Refuse(const char* why) const {
    throw std::runtime_error("character " + std::to_string(at_) + ": " + why);
  }
  bool Take(std::wstring_view wanted) noexcept {
    if (text_.substr(at_, wanted.size()) != wanted) return false;
    at_ += wanted.size();
    return true;
  }
  void Expect(wchar_t wanted) {
    if (!Take({&wanted, 1})) Refuse("this is not well-formed");
  }

  // Returns what precedes the next of these characters.
  std::wstring_view TakeUntil(std::wstring_view ends) {
    const std::size_t end = text_.find_first_of(ends, at_);
    if (end == std::wstring_view::npos) Refuse("the file ends too early");
    return text_.substr(std::exchange(at_, end), end - at_);
  }
  std::wstring TakeName() {
    const std::wstring_view name = TakeUntil(L" \t\r\n/>=<\"&");
    if (name.empty()) Refuse("a name is missing");
    return std::wstring(name);
  }

  static wchar_t CharacterOf(std::wstring_view entity) noexcept {
    constexpr std::pair<std::wstring_view, wchar_t> kEntities[] = {
        {L"lt", L'<'}, {L"gt", L'>'}, {L"amp", L'&'}, {L"apos", L'\''}, {L"quot", L'"'}};
    for (const auto& known : kEntities)
      if (known.first == entity) return known.second;
    return 0;
  }
  // Returns the text as an XML reader sees it. `lineEnd` is what a line end becomes.
  std::wstring Unescaped(std::wstring_view raw, wchar_t lineEnd) const {
    std::wstring text;
    for (std::size_t i = 0; i < raw.size(); ++i) {
      if (raw[i] == L'&') {
        const std::size_t end = (std::min)(raw.find(L';', i), raw.size());
        const wchar_t character = CharacterOf(raw.substr(i + 1, end - i - 1));
        if (!character) Refuse("the text before has an unknown entity");
        text += character;
        i = end;
      } else if (raw[i] == L'\r' || raw[i] == L'\n') {
        text += lineEnd;
        if (raw.substr(i, 2) == L"\r\n") ++i;
      } else {
        text += raw[i] == L'\t' && lineEnd == L' ' ? L' ' : raw[i];
      }
    }
    return text;
  }

  // Reads an element behind its '<'.
  XmlElement ParseElement(int depth) {
    if (depth >= kDeepest) Refuse("elements are nested too deeply");
    XmlElement element;
    element.name = TakeName();
    while (Take(L" ")) {
      std::wstring name = TakeName();
      if (!Take(L"=\"")) Refuse("an attribute has no value");
      element.attributes.emplace_back(std::move(name), Unescaped(TakeUntil(L"\"<"), L' '));
      Expect(L'"');
    }
    if (Take(L"/>")) return element;
    Expect(L'>');
    for (;;) {
      element.text += Unescaped(TakeUntil(L"<"), L'\n');
      Expect(L'<');
      if (Take(L"/")) break;
      element.children.push_back(ParseElement(depth + 1));
    }
    if (TakeName() != element.name) Refuse("an end tag has another name than its start tag");
    Expect(L'>');
    return element;
  }

  std::wstring_view text_;
  std::size_t at_ = 0;
};

inline std::wstring WideOf(std::string_view bytes, UINT codePage, DWORD flags) {
  const int size = static_cast<int>(bytes.size());
  std::wstring wide(bytes.size(), L'\0');  // no character has more UTF-16 units than bytes
  const int units = MultiByteToWideChar(codePage, flags, bytes.data(), size, wide.data(), size);
  if (units == 0 && size != 0) throw std::runtime_error("a text is not in its encoding");
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

// Parses file.bytes into the members after it. Throws std::runtime_error if they are not an event file.
inline void ParseReport(ReportFile& file) {
  try {
    file.root = XmlParser(WideOf(file.bytes, CP_UTF8, MB_ERR_INVALID_CHARS)).Parse();
    if (file.root.children.size() < 2) throw std::runtime_error("the product element is missing");
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("varnel::testing: event file " +
                             varnel::detail::Quoted(std::wstring_view(file.name)) +
                             " cannot be read: " + error.what());
  }
  file.machine = file.root.children[0];
  file.product = file.root.children[1];
  for (const XmlElement& child : file.product.children)
    if (child.FindChild(L"EventID")) file.events.push_back(child);
}

}  // namespace detail
}  // namespace varnel::testing
