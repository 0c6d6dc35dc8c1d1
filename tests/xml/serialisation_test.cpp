#include "xml/document.h"
#include "xml/null_nodes.h"
#include "xml/write_context.h"

#include <gtest/gtest.h>

namespace AdvXMLParser {
namespace {

constexpr auto kDeclaration = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

std::wstring Compact(const Document& document) {
  return document.ToString(false);
}

TEST(Serialisation, EmptyDocumentIsDeclarationAndRoot) {
  EXPECT_EQ(kDeclaration + std::wstring(L"<R/>"), Compact(Document(L"R")));
}

TEST(Serialisation, OneDocumentInBothModes) {
  Document document(L"Root");
  document.Root()->GetOrAddAttribute(L"A")->AddText(L"x<y");
  document.Root()->AddElement(L"MachineInfo")->AddElement(L"MachineName")->AddText(L"PC1");
  EXPECT_EQ(
      L"<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root "
      L"A=\"x&lt;y\"><MachineInfo><MachineName>PC1</MachineName>"
      L"</MachineInfo></Root>",
      document.ToString(false));
  EXPECT_EQ(
      L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Root A=\"x&lt;y\">\r\n  <MachineInfo>\r\n"
      L"    <MachineName>PC1</MachineName>\r\n  </MachineInfo>\r\n</Root>",
      document.ToString(true));
}

TEST(Serialisation, InstructionsCDataAndCommentsAreNotEscaped) {
  Document document(L"R");
  document.Root()->Append(std::make_unique<Pi>(L"target", nullptr, L"a<b"));
  document.Root()->Append(std::make_unique<Pi>(L"bare", nullptr, L""));
  document.Root()->Append(std::make_unique<CData>(nullptr, L"<&>"));
  document.Root()->Append(std::make_unique<Comment>(nullptr, L" c "));
  document.Root()->AddElement(L"E");
  EXPECT_EQ(kDeclaration + std::wstring(L"<R><?target a<b?><?bare?><![CDATA[<&>]]><!-- c --><E/></R>"),
            Compact(document));
  EXPECT_EQ(kDeclaration + std::wstring(L"\r\n<R>\r\n  <?target a<b?>\r\n  <?bare?>\r\n  <![CDATA[<&>]]>\r\n"
                                        L"  <!-- c -->\r\n  <E/>\r\n</R>"),
            document.ToString(true));
}

TEST(Serialisation, TextIsEscapedAndOtherwiseUnchanged) {
  struct {
    std::wstring text;
    std::wstring compact;
    std::wstring indented;
  } const rows[] = {
      {L"a'b\"c>d&e<", L"a&apos;b&quot;c&gt;d&amp;e&lt;", L"a&apos;b&quot;c&gt;d&amp;e&lt;"},
      {L"<", L"&lt;", L"&lt;"},
      {L"a\r\n  b", L"a\r\n  b", L"a b"},
      {L"\t x \t", L"\t x \t", L" x "},
      {L"\x01\x1F=\xE9\xD800", L"\x01\x1F=\xE9\xD800", L"\x01\x1F=\xE9\xD800"},
      {L"", L"", L""},
  };
  for (const auto& row : rows) {
    Document document(L"R");
    document.Root()->AddText(row.text);
    EXPECT_EQ(kDeclaration + (L"<R>" + row.compact + L"</R>"), Compact(document));
    EXPECT_EQ(kDeclaration + (L"\r\n<R>" + row.indented + L"</R>"), document.ToString(true));
  }
}

TEST(Serialisation, AttributesKeepTheOrderOfTheirFirstSetting) {
  Document document(L"R");
  Element& root = *document.Root();
  root.GetOrAddAttribute(L"B")->AddText(L"x");
  root.GetOrAddAttribute(L"A");
  root.GetOrAddAttribute(L"B")->AddText(L"y");
  EXPECT_EQ(kDeclaration + std::wstring(L"<R B=\"xy\" A=\"\"/>"), Compact(document));
}

TEST(Serialisation, EncryptedMarkChangesNothing) {
  Document document(L"R");
  document.Root()->AddElement(L"E")->GetOrAddAttribute(L"Encrypted")->AddText(L"1");
  EXPECT_EQ(kDeclaration + std::wstring(L"<R><E Encrypted=\"1\"/></R>"), Compact(document));
}

// Recursion would need far more stack than a host's thread has.
TEST(Serialisation, DepthIsLimitedByMemoryOnly) {
  constexpr std::size_t kDepth = 200'000;
  Document document(L"R");
  Element* at = document.Root();
  for (std::size_t i = 0; i < kDepth; ++i) at = at->AddElement(L"d");
  const std::wstring text = Compact(document);
  EXPECT_EQ(std::wstring(kDeclaration).size() + std::size_t{7} + (kDepth - 1) * 7 + 4, text.size());
}

TEST(Serialisation, MeasuredLengthIsTheWrittenLength) {
  Document document(L"R");
  document.Root()->AddText(L"a<b & 'c'");
  document.Root()->AddElement(L"E")->GetOrAddAttribute(L"A")->AddText(L"\"");
  for (const bool indented : {false, true}) {
    WriteContext measure(indented, nullptr);
    document.Write(measure);
    EXPECT_EQ(document.ToString(indented).size(), measure.length);
  }
}

}  // namespace
}  // namespace AdvXMLParser
