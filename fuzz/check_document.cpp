// Compares a document, its text in both forms and its copy with a simple model of a tree.

#include "check.h"
#include "xml/document.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace varnel::fuzz {
namespace {

using namespace AdvXMLParser;

static_assert(sizeof(wchar_t) == 2, "the loops for characters of 16 bits are what runs on Windows");

struct Model {
  NodeType kind;
  std::wstring name;
  std::wstring text;
  std::vector<Model> attributes;
  std::vector<Model> children;
};

// A text at the end of an allocation, so that the sanitizer notices reading past its end.
class Exact {
 public:
  explicit Exact(std::wstring_view text) : units_(text.begin(), text.end()) {}
  operator std::wstring_view() const { return {units_.data(), units_.size()}; }

 private:
  std::vector<wchar_t> units_;
};

void AddAttribute(Input& input, Element& element, Model& model) {
  constexpr const wchar_t* kNames[] = {L"A", L"Encrypted", L""};
  const std::wstring name = kNames[input.Byte() % 3];
  Model text{kTextNode, {}, input.Text(), {}, {}};
  element.AddToAttribute(Exact(name), Exact(text.text));
  for (auto& attribute : model.attributes)
    if (attribute.name == name) return attribute.children.push_back(text);
  model.attributes.push_back({kAttributeNode, name, {}, {}, {text}});
}

// Adds the same content to element and model until the input closes the element.
void Fill(Input& input, Element& element, Model& model) {
  constexpr const wchar_t* kNames[] = {L"E", L"größe\xDC00", L"\xD83D\xDE00", L""};
  while (!input.Empty()) {
    const unsigned choice = input.Byte() % 8;
    if (choice == 0) return;
    if (choice == 1) {
      AddAttribute(input, element, model);
      continue;
    }
    Model& child = model.children.emplace_back(Model{kTextNode, {}, {}, {}, {}});
    if (choice >= 6) {
      child.kind = kElementNode;
      child.name = kNames[input.Byte() % 4];
      if (choice == 6) {
        Fill(input, *element.AddElement(Exact(child.name)), child);
      } else {
        child.children.push_back({kTextNode, {}, input.Text(), {}, {}});
        Fill(input, *element.AddElement(Exact(child.name), Exact(child.children[0].text)), child);
      }
      continue;
    }
    if (choice == 3) child.name = L"target";
    child.text = input.Text();
    if (choice == 2) element.AddText(Exact(child.text));
    if (choice == 3) element.AddPi(Exact(child.name), Exact(child.text));
    if (choice == 4) element.AddCData(Exact(child.text));
    if (choice == 5) element.AddComment(Exact(child.text));
    constexpr NodeType kKinds[] = {kTextNode, kPiNode, kCDataNode, kCommentNode};
    child.kind = kKinds[choice - 2];
  }
}

std::wstring Escaped(std::wstring_view text) {
  constexpr std::pair<wchar_t, const wchar_t*> kEntities[] = {
      {L'<', L"&lt;"}, {L'>', L"&gt;"}, {L'&', L"&amp;"}, {L'\'', L"&apos;"}, {L'"', L"&quot;"}};
  std::wstring escaped;
  for (const wchar_t unit : text) {
    const auto* const entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                            [&](const auto& known) { return known.first == unit; });
    if (entity == std::end(kEntities))
      escaped += unit;
    else
      escaped += entity->second;
  }
  return escaped;
}

// Returns the text with each run of white space replaced by one space.
std::wstring Collapsed(std::wstring text) {
  std::replace_if(
      text.begin(), text.end(), [](wchar_t c) { return c == L'\t' || c == L'\r' || c == L'\n'; }, L' ');
  const auto areBlanks = [](wchar_t a, wchar_t b) { return a == L' ' && b == L' '; };
  text.erase(std::unique(text.begin(), text.end(), areBlanks), text.end());
  return text;
}

// Writes the text of a model.
class ModelText {
 public:
  ModelText(const Model& root, bool indented) : indented_(indented) {
    out += L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    Break();
    Write(root, 0);
  }
  std::wstring out;

 private:
  // Ends the line unless it has just been ended.
  void Break() {
    if (!indented_) return;
    if (!atLineStart_) out += L"\r\n";
    atLineStart_ = true;
  }
  void Line(std::size_t depth) {
    Break();
    if (indented_) Put(std::wstring(depth * 2, L' '));
  }
  void Put(const std::wstring& text) {
    out += text;
    atLineStart_ = false;
  }

  void Write(const Model& node, std::size_t depth) {
    if (node.kind == kTextNode) return Put(Escaped(indented_ ? Collapsed(node.text) : node.text));
    Line(depth);
    if (node.kind == kElementNode) return WriteElement(node, depth);
    const std::wstring blank = node.text.empty() ? L"" : L" ";
    if (node.kind == kPiNode) Put(L"<?" + node.name + blank + node.text + L"?>");
    if (node.kind == kCDataNode) Put(L"<![CDATA[" + node.text + L"]]>");
    if (node.kind == kCommentNode) Put(L"<!--" + node.text + L"-->");
    Break();
  }

  void WriteElement(const Model& element, std::size_t depth) {
    Put(L"<" + element.name);
    for (const auto& attribute : element.attributes) {
      Put(L" " + attribute.name + L"=\"");
      for (const auto& text : attribute.children) Write(text, depth);
      Put(L"\"");
    }
    if (element.children.empty()) return Put(L"/>");
    Put(L">");
    bool hasLines = false;
    for (const auto& child : element.children) {
      Write(child, depth + 1);
      hasLines = hasLines || child.kind != kTextNode;
    }
    if (hasLines) Line(depth);
    Put(L"</" + element.name + L">");
  }

  bool indented_;
  bool atLineStart_ = false;
};

// Returns the text as Windows converts it to UTF-8.
std::string Utf8Of(const std::wstring& text) {
#ifdef _WIN32
  std::string utf8(text.size() * 3, '\0');
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                                       static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<std::size_t>(size));
  return utf8;
#else
  std::string utf8;
  for (std::size_t at = 0; at < text.size(); ++at) {
    auto code = static_cast<std::uint32_t>(text[at]);
    const std::uint32_t next = at + 1 < text.size() ? static_cast<std::uint32_t>(text[at + 1]) : 0;
    if (code >> 10 == 0x36 && next >> 10 == 0x37)
      code = (code << 10) + next - 0x35FDC00, ++at;
    else if (code >> 11 == 0x1B)
      code = 0xFFFD;
    const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    utf8 += static_cast<char>(kLead[more] | code >> (6 * more));
    for (int left = more - 1; left >= 0; --left)
      utf8 += static_cast<char>(0x80 | (code >> (6 * left) & 0x3F));
  }
  return utf8;
#endif
}

}  // namespace

void CheckDocument(Input input) {
  Document document(L"R");
  Model root{kElementNode, L"R", {}, {}, {}};
  Fill(input, *document.Root(), root);
  const std::wstring text = ModelText(root, false).out;
  Require(document.ToString(false) == text, "a document's text is its model's");
  const Utf8Text utf8 = document.ToUtf8();
  if (utf8.bytes) Require(std::string_view(utf8.bytes.get(), utf8.size) == Utf8Of(text), "so are its bytes");
  const auto isPlain = [](wchar_t unit) { return unit != 0 && (unit < 0xD800 || unit > 0xDFFF); };
  if (!utf8.bytes || text.find(L'\0') != text.npos)
    Require(!utf8.bytes && !std::all_of(text.begin(), text.end(), isPlain),
            "with a zero or half a pair, and only then, the system decides what is saved");
  Require(document.ToString(true) == ModelText(root, true).out, "so is its indented text");
}

}  // namespace varnel::fuzz
