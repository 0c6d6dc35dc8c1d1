// A document, its text in both modes and its copy, against a plain model of a tree.

#include "check.h"
#include "xml/document.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace varnel::fuzz {
namespace {

using namespace AdvXMLParser;

struct Model {
  NodeType kind;
  std::wstring name;
  std::wstring text;
  std::vector<Model> attributes;
  std::vector<Model> children;
};

void AddAttribute(Input& input, Element& element, Model& model) {
  constexpr const wchar_t* kNames[] = {L"A", L"Encrypted", L""};
  const std::wstring name = kNames[input.Byte() % 3];
  Model text{kTextNode, {}, input.Text(), {}, {}};
  element.AddToAttribute(name, text.text);
  for (auto& attribute : model.attributes)
    if (attribute.name == name) return attribute.children.push_back(text);
  model.attributes.push_back({kAttributeNode, name, {}, {}, {text}});
}

// Puts into both what the input says, until it closes the element.
void Fill(Input& input, Element& element, Model& model) {
  constexpr const wchar_t* kNames[] = {L"E", L"EventID", L"a-b.c", L""};
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
      Fill(input, *element.AddElement(child.name), child);
      continue;
    }
    if (choice == 3) child.name = L"target";
    child.text = input.Text();
    if (choice == 2) element.AddText(child.text);
    if (choice == 3) element.Append(std::make_unique<Pi>(child.name, nullptr, child.text));
    if (choice == 4) element.Append(std::make_unique<CData>(nullptr, child.text));
    if (choice == 5) element.Append(std::make_unique<Comment>(nullptr, child.text));
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

// Every run of white space made one space.
std::wstring Collapsed(std::wstring text) {
  std::replace_if(
      text.begin(), text.end(), [](wchar_t c) { return c == L'\t' || c == L'\r' || c == L'\n'; }, L' ');
  const auto areBlanks = [](wchar_t a, wchar_t b) { return a == L' ' && b == L' '; };
  text.erase(std::unique(text.begin(), text.end(), areBlanks), text.end());
  return text;
}

// The text that a model stands for.
class ModelText {
 public:
  ModelText(const Model& root, bool indented) : indented_(indented) {
    out += L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    Break();
    Write(root, 0);
  }
  std::wstring out;

 private:
  // Ends the line, unless one has just been ended.
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

}  // namespace

void CheckDocument(Input input) {
  Document document(L"R");
  Model root{kElementNode, L"R", {}, {}, {}};
  Fill(input, *document.Root(), root);
  Require(document.ToString(false) == ModelText(root, false).out, "a document's text is its model's");
  Require(document.ToString(true) == ModelText(root, true).out, "so is its indented text");
}

}  // namespace varnel::fuzz
