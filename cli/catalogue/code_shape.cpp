#include "catalogue/code_shape.h"

#include "catalogue/names.h"
#include "console/utf8.h"

#include <algorithm>
#include <cstdio>

namespace varnel::tool::catalogue {
namespace {

constexpr std::size_t kWidth = 110;

std::string Lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

}  // namespace

std::vector<Member> MembersOf(const Content& content, const Child* self, std::string_view className) {
  std::vector<Member> members;
  if (self && self->type)
    members.push_back({Member::Kind::kText, nullptr, *self->type, true, false, "", "Text",
                       ClassName(self->name), "text", self->text});
  for (const Attribute& attribute : content.attributes)
    members.push_back({Member::Kind::kAttribute, nullptr, attribute.type, attribute.isRequired, false,
                       attribute.name, ClassName(attribute.name), ClassName(attribute.name),
                       VariableName(attribute.name), attribute.text});
  for (const Child& child : content.children)
    members.push_back({Member::Kind::kChild,
                       &child,
                       {},
                       child.isRequired,
                       child.isMany,
                       child.name,
                       ClassName(child.name),
                       ChildClassName(child.name, className),
                       VariableName(child.name),
                       child.text});
  return members;
}

GeneratedNames::GeneratedNames(std::string_view name)
    : space(Lower(std::string(name))),
      dotNet(ClassName(name) + "Events"),
      header(space + "_events.hpp"),
      csharp(dotNet + ".cs"),
      relaxNg(space + ".rng"),
      schema(space + ".schema.json"),
      reference(space + ".md") {}

void CodeWriter::Line(std::string_view text) {
  const bool isFirst = text_.ends_with("{\n") || text_.ends_with("public:\n");
  if (text.empty() && isFirst) return;
  if (!text.empty()) text_.append(2 * level_, ' ').append(text);
  text_ += '\n';
}

void CodeWriter::Label(std::string_view text) {
  text_.append(2 * level_ - 1, ' ').append(text) += '\n';
}

void CodeWriter::List(std::string_view start, const std::vector<std::string>& parts, std::string_view end) {
  std::string line(start);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const bool isLast = i + 1 == parts.size();
    const std::string part = parts[i] + (isLast ? std::string(end) : ",");
    if (i > 0 && 2 * level_ + line.size() + 1 + part.size() > kWidth) {
      Line(line);
      line = "   ";
    }
    line.append(i == 0 ? "" : " ").append(part);
  }
  Line(line);
}

void CodeWriter::Comment(std::string_view mark, std::string_view text) {
  const std::size_t width = std::max<std::size_t>(kWidth - std::min(kWidth, 2 * level_ + mark.size()), 40);
  while (!text.empty()) {
    std::size_t end = text.size();
    if (end > width) {
      end = text.rfind(' ', width);
      if (end == text.npos || end == 0) end = std::min(text.find(' ', width), text.size());
    }
    std::string line = std::string(mark).append(text.substr(0, end));
    // A backslash would make the next line part of the comment.
    if (line.ends_with('\\')) line += " .";
    Line(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void CodeWriter::Open(std::string_view text) {
  Line(text);
  ++level_;
}

void CodeWriter::Close(std::string_view text) {
  --level_;
  Line(text);
}

std::string CodeWriter::Take() {
  const bool isAscii =
      std::none_of(text_.begin(), text_.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  return isAscii ? std::move(text_) : "\xEF\xBB\xBF" + text_;
}

std::string Literal(std::string_view utf8) {
  std::string literal;
  while (!utf8.empty()) {
    const Decoded next = DecodeUtf8(utf8);
    char escape[12] = {};
    if (next.code == '"' || next.code == '\\')
      literal += {'\\', static_cast<char>(next.code)};
    else if (next.code >= 0x20 && next.code < 0x7F)
      literal += static_cast<char>(next.code);
    else
      std::snprintf(escape, sizeof(escape), next.code < 0x10000 ? "\\u%04X" : "\\U%08X",
                    static_cast<unsigned>(next.code));
    literal += escape;
    utf8.remove_prefix(next.length);
  }
  return literal;
}

}  // namespace varnel::tool::catalogue
