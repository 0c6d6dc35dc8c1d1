#include "xml/write_context.h"

namespace AdvXMLParser {
namespace {

// Empty for a unit that stands for itself.
constexpr std::wstring_view EntityFor(wchar_t unit) noexcept {
  switch (unit) {
    case L'<':
      return L"&lt;";
    case L'>':
      return L"&gt;";
    case L'&':
      return L"&amp;";
    case L'\'':
      return L"&apos;";
    case L'"':
      return L"&quot;";
    default:
      return {};
  }
}

}  // namespace

void WriteContext::Append(std::wstring_view markup) {
  atLineStart = false;
  length += markup.size();
  if (out) out->append(markup);
}

void WriteContext::AppendEscaped(std::wstring_view value) {
  atLineStart = false;
  std::size_t runStart = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] > L'>') continue;  // all five lie at or below it, most text lies above
    const std::wstring_view entity = EntityFor(value[at]);
    if (entity.empty()) continue;
    Append(value.substr(runStart, at - runStart));
    Append(entity);
    runStart = at + 1;
  }
  Append(value.substr(runStart));
}

void WriteContext::BreakLine() {
  if (atLineStart) return;
  Append(L"\r\n");
  atLineStart = true;
}

void WriteContext::WriteIndent() {
  atLineStart = false;
  for (std::int32_t level = 1; level < depth; ++level) Append(indent);
}

void WriteContext::StartLine() {
  BreakLine();
  WriteIndent();
  lastWasClosed = false;
}

}  // namespace AdvXMLParser
