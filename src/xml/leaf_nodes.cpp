#include "xml/leaf_nodes.h"

#include "xml/whitespace.h"
#include "xml/write_context.h"

#include <initializer_list>

namespace AdvXMLParser {
namespace {

// Processing instructions, CDATA sections and comments share one layout: a line of their own in indented
// mode.
void WriteUnescaped(WriteContext& context, std::initializer_list<std::wstring_view> pieces) {
  ++context.depth;
  if (!context.Compact()) context.StartLine();
  for (const auto piece : pieces) context.Append(piece);
  if (!context.Compact()) context.BreakLine();
  --context.depth;
  context.lastWasClosed = true;
}

}  // namespace

std::unique_ptr<Node> Text::Clone(NodeContainer* parent) const {
  return std::make_unique<Text>(parent, value_);
}

void Text::Write(WriteContext& context) const {
  if (context.Compact())
    context.AppendEscaped(value_);
  else
    context.AppendEscaped(CollapseWhitespace(value_));
}

std::unique_ptr<Node> CData::Clone(NodeContainer* parent) const {
  return std::make_unique<CData>(parent, value_);
}

void CData::Write(WriteContext& context) const {
  WriteUnescaped(context, {L"<![CDATA[", value_, L"]]>"});
}

std::unique_ptr<Node> Comment::Clone(NodeContainer* parent) const {
  return std::make_unique<Comment>(parent, value_);
}

void Comment::Write(WriteContext& context) const {
  WriteUnescaped(context, {L"<!--", value_, L"-->"});
}

std::unique_ptr<Node> Pi::Clone(NodeContainer* parent) const {
  return std::make_unique<Pi>(Name(), parent, value_);
}

void Pi::Write(WriteContext& context) const {
  if (value_.empty())
    WriteUnescaped(context, {L"<?", Name(), L"?>"});
  else
    WriteUnescaped(context, {L"<?", Name(), L" ", value_, L"?>"});
}

}  // namespace AdvXMLParser
