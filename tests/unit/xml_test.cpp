#include "check.h"
#include "support/text.h"
#include "xml/document.h"
#include "xml/errors.h"
#include "xml/file_writer.h"
#include "xml/markup_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace AdvXMLParser {
namespace {

// The checks that the fuzzers run on the host, here with 16-bit characters.
TEST(Document, ReadsAsItsModel) {
  std::minstd_rand random(20240307);
  for (int i = 0; i < 500; ++i) {
    std::vector<std::uint8_t> bytes(random() % 400);
    for (auto& byte : bytes)
      byte = static_cast<std::uint8_t>(random() % 5 == 0 ? random()
                                                         : unsigned{L"&<\r\n \x06\x07\x01"[random() % 8]});
    ASSERT_NO_THROW(varnel::fuzz::CheckDocument({bytes.data(), bytes.size()}));
  }
}

// Applies steps to a container: "<NAME" opens an element, ">" closes it, "@NAME=TEXT" adds to an attribute,
// and a quote, "[", "!" or "?" adds a text, a CDATA section, a comment or an instruction. Returns the rest.
std::wstring_view Apply(std::wstring_view steps, Element& element) {
  while (!steps.empty() && steps[0] != L'>') {
    const std::size_t length = std::min(steps.find(L';'), steps.size());
    const std::wstring_view operand = steps.substr(1, length - 1);
    const wchar_t operation = steps[0];
    steps.remove_prefix(std::min(length + 1, steps.size()));
    if (operation == L'<') {
      steps = Apply(steps, *element.AddElement(operand));
      steps.remove_prefix(std::min<std::size_t>(2, steps.size()));
    } else if (operation == L'@') {
      element.AddToAttribute(operand.substr(0, operand.find(L'=')), operand.substr(operand.find(L'=') + 1));
    } else if (operation == L'"') {
      element.AddText(operand);
    } else if (operation == L'[') {
      element.AddCData(operand);
    } else if (operation == L'!') {
      element.AddComment(operand);
    } else {
      const std::size_t blank = std::min(operand.find(L' '), operand.size());
      element.AddPi(operand.substr(0, blank), operand.substr(std::min(blank + 1, operand.size())));
    }
  }
  return steps;
}

TEST(Document, MarkupIsThatOfTheRules) {
  constexpr wchar_t kDeclaration[] = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
  for (const auto& row : varnel::test::Rules("markup")) {
    Document document(L"R");
    Apply(varnel::test::Wide(row[0]), *document.Root());
    EXPECT_EQ(kDeclaration + varnel::test::Wide(row[1]), document.ToString(false)) << row[0];
    EXPECT_EQ(kDeclaration + (L"\r\n" + varnel::test::Wide(row[2])), document.ToString(true)) << row[0];
  }
}

constexpr char kNoBytes[] = "Only the system's conversion tells the bytes.";

// Returns where the bytes of a document differ from the system's conversion of its text; nothing if they are
// the same.
std::string DifferenceFromTheSystem(const Document& document) {
  const Utf8Text text = document.ToUtf8();
  if (!text.bytes) return kNoBytes;
  std::string converted;
  EXPECT_EQ(kSaved, ToUtf8(document.ToString(false), converted));
  const std::string_view bytes(text.bytes.get(), text.size);
  if (converted == bytes) return "";
  const auto at =
      std::mismatch(bytes.begin(), bytes.end(), converted.begin(), converted.end()).first - bytes.begin();
  return "Differs from byte " + std::to_string(at) + " on, \"" +
         std::string(bytes.substr(static_cast<std::size_t>(at), 20)) + "\".";
}

// Each unit at different places of a block, and characters of every length next to each other, cut anywhere.
TEST(Document, BytesAreWhatTheSystemMakesOfItsText) {
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
    if (unit >= 0xD800 && unit <= 0xDFFF) continue;
    Document document(L"R");
    document.Root()->AddElement(L"u", std::wstring(unit % 20, L'a') + static_cast<wchar_t>(unit));
    ASSERT_EQ("", DifferenceFromTheSystem(document)) << "unit " << std::hex << unit;
  }
  const std::wstring kinds[] = {L"a",      L"&",      L"\x7F",  L"\x80", L"\x7FF", L"\x800", L"\xD83D\xDE00",
                                L"\xD800", L"\xDC00", L"\xFFFF"};
  for (const std::wstring& first : kinds)
    for (const std::wstring& second : kinds)
      for (const bool isCut : {false, true}) {
        Document pair(first);
        pair.Root()->AddElement(L"p", first + (isCut ? L"" : second))->AddText(isCut ? second : L"");
        const auto isHalf = [](const std::wstring& text) { return text == L"\xD800" || text == L"\xDC00"; };
        EXPECT_EQ(isHalf(first) || isHalf(second) ? kNoBytes : "", DifferenceFromTheSystem(pair))
            << testing::PrintToString(first + second);
      }
  Document cut(L"R");
  cut.Root()->AddText(std::wstring_view(L"\0", 1));
  EXPECT_EQ(kNoBytes, DifferenceFromTheSystem(cut)) << "what is saved ends at the zero";
}

TEST(Blocks, LengthIsThatOfTheCLibraryWhereverTheTextLies) {
  for (std::size_t offset = 0; offset < 16; ++offset)  // in bytes: callers in C may pass odd addresses
    for (std::size_t length = 0; length < 40; ++length) {
      alignas(16) char memory[128] = {};  // zeros before the text must not be seen
      auto* const text = reinterpret_cast<wchar_t*>(memory + offset);
      for (std::size_t i = 0; i < length * 2; ++i) memory[offset + i] = 'x';
      EXPECT_EQ(length, WideLength(text)) << "at " << offset;
    }
}

// Texts shorter and longer than the buffer for conversion, in a shared chunk of the arena and in chunks of
// their own.
TEST(Document, LongTextsAreStoredWhateverMustBeReplaced) {
  Document document(L"R");
  std::wstring expected;
  for (const unsigned length : {7U, 127U, 128U, 129U, 3000U, 5000U, 300'000U})
    for (const wchar_t unit : {L'a', L'"', L'\xE9', L'\xFFFD'}) {
      const std::wstring text = L"x" + std::wstring(length, unit);
      document.Root()->AddElement(L"t", text);
      expected += text;
    }
  EXPECT_EQ(expected, document.GetText());
  EXPECT_EQ("", DifferenceFromTheSystem(document));
}

// The names all share one bucket of the name table: comparing each with each would take minutes. From the
// seventeenth attribute on there is an index.
TEST(Document, ManyAttributesAreFoundInOrderAndInTime) {
  for (const int count : {15, 16, 17, 20'000}) {
    SCOPED_TRACE(count);
    Document document(L"R");
    Element& element = *document.Root();
    std::wstring expected = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?><R";
    for (const wchar_t* const value : {L"1", L"2"})
      for (int i = 0; i < count; ++i) {
        const std::wstring name =
            L"A" + std::to_wstring(1'000'000 + i) + L"A" + std::to_wstring(1'000'000 + i) + L"A";
        element.AddToAttribute(name, value);
        if (*value == L'1') expected += L" " + name + L"=\"12\"";
      }
    EXPECT_TRUE(document.ToString(false) == expected + L"/>");
    EXPECT_TRUE(IsNull(element.FindAttribute(L"A1")));
    EXPECT_EQ(L"12", element.FindAttribute(L"A1000000A1000000A")->GetText());
    EXPECT_EQ(element.FindAttribute(L"A1000014A1000014A"), element.GetOrAddAttribute(L"A1000014A1000014A"));
    EXPECT_EQ("", DifferenceFromTheSystem(document));
  }
}

// A name takes its memory once: what is written of it may be more than 32 bits count.
TEST(Document, LengthIsCountedWhateverThereIsMemoryFor) {
  Document document(L"R");
  const std::wstring_view name = document.Root()->AddElement(std::wstring(1 << 20, L'n'))->Name();
  for (int i = 0; i < 4096; ++i) document.Root()->AddElement(name);
  EXPECT_EQ(nullptr, document.ToUtf8().bytes);
}

TEST(Document, CloneIsIndependent) {
  Document document(L"R");
  Element& root = *document.Root();
  root.AddToAttribute(L"A", L"x<y");
  root.AddElement(L"E")->AddText(L"");
  root.AddElement(L"F")->AddElement(L"G")->AddText(L"t");
  const std::wstring text = document.ToString(true);
  const std::unique_ptr<const Document> clone(document.Clone());
  root.AddText(L"more");
  EXPECT_NE(text, document.ToString(true));
  EXPECT_EQ(text, clone->ToString(true));
}

TEST(Document, SavepointRollsBackWithoutATraceUnlessCommitted) {
  Document document(L"R");
  for (const wchar_t* const first : {L"a", L"b"}) {
    NodeContainer& container = *document.Root();
    const std::wstring before = document.ToString(false);
    {
      const Savepoint savepoint(container);
      container.AddText(std::wstring_view(L"\0\xE9", 2));
      container.AddElement(L"trial", L"<")->AddElement(L"deeper");
    }
    EXPECT_EQ(before, document.ToString(false));
    EXPECT_EQ(before.size(), document.ToUtf8().size);
    Savepoint savepoint(container);
    container.AddElement(first, L"kept");
    savepoint.Commit();
  }
  EXPECT_EQ(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?><R><a>kept</a><b>kept</b></R>",
            document.ToString(false));
}

// Recursion would need far more stack than a host's thread has.
TEST(Document, DepthIsLimitedByMemoryOnly) {
  constexpr std::size_t kDepth = 200'000;
  Document document(L"R");
  Element* at = document.Root();
  for (std::size_t i = 0; i < kDepth; ++i) at = at->AddElement(L"d");
  EXPECT_EQ(std::size_t{38 + 7} + (kDepth - 1) * 7 + 4, document.ToString(false).size());
}

TEST(Tree, NullNodesStandForWhatIsMissing) {
  Document document(L"R");
  Element& root = *document.Root();
  EXPECT_EQ(L"#document", document.Name());
  EXPECT_EQ(&NullElement, document.Parent());
  EXPECT_EQ(static_cast<NodeContainer*>(&document), root.Parent());
  EXPECT_EQ(&NullAttribute, root.FindAttribute(L"A"));
  EXPECT_EQ(&NullElement, root.FindChildElement(L"E", 0));
  EXPECT_EQ(&NullElement, NullElement.AddElement(L"E"));
  EXPECT_EQ(&NullElement, NullElement.AddSiblingElement(L"E"));
  EXPECT_EQ(&NullAttribute, NullElement.GetOrAddAttribute(L"A"));
  NullElement.AddToAttribute(L"A", L"x");
  EXPECT_EQ(&NullAttribute, NullElement.FindAttribute(L"A"));
  EXPECT_EQ(&NullElement, NullElement.Parent());
  for (const Node* const node :
       std::initializer_list<const Node*>{&NullElement, &NullAttribute, &NullCData, &NullComment, &NullPi})
    EXPECT_TRUE(IsNull(node));
  EXPECT_FALSE(IsNull(&root));
}

TEST(Tree, ChildrenAndAttributesAreFoundByNameTypeAndIndex) {
  Document document(L"R");
  Element& root = *document.Root();
  EXPECT_EQ(L"", root.GetChildText(0));
  root.AddText(L"first");
  Element* const first = root.AddElement(L"E");
  root.AddElement(L"F");
  Element* const second = first->AddSiblingElement(L"E");
  root.AddText(L"last");
  EXPECT_EQ(&root, second->Parent());
  EXPECT_EQ(first, root.FindChildElement(L"E", 0));
  EXPECT_EQ(second, root.FindChildElement(L"E", 1));
  EXPECT_TRUE(IsNull(root.FindChildElement(L"E", 2)));
  EXPECT_TRUE(IsNull(root.FindChildElement(L"E", 0, kTextNode)));
  EXPECT_TRUE(IsNull(root.FindChildElement(L"e", 0)));
  EXPECT_EQ(L"last", root.FindChildElement(L"#text", 1, kTextNode)->GetValue());
  EXPECT_EQ(L"first", root.GetChildText(5));
  Attribute* const attribute = root.GetOrAddAttribute(L"A");
  attribute->AddText(L" 1");
  EXPECT_EQ(attribute, root.GetOrAddAttribute(L"A"));
  attribute->AddText(L"2 ");
  EXPECT_EQ(L"12", attribute->GetText());
  EXPECT_EQ(L"12", attribute->GetValue());
  EXPECT_EQ(L"2 ", attribute->FindChildElement(L"#text", 1, kTextNode)->GetText()) << "two texts, not one";
  EXPECT_TRUE(IsNull(root.FindAttribute(L"a")));
  EXPECT_TRUE(root.Is(kElementNode) && attribute->Is(kAttributeNode) && document.Is(kDocumentNode));
}

TEST(Tree, EachNodeWritesItself) {
  Document document(L"R");
  Element& root = *document.Root();
  Attribute* const attribute = root.GetOrAddAttribute(L"A");
  attribute->AddText(L"'");
  root.AddText(L"a  b");
  root.AddPi(L"p", L"d");
  const std::tuple<const Node*, bool, const wchar_t*> rows[] = {{attribute, false, L"A=\"&apos;\""},
                                                                {attribute, true, L"A=\"&apos;\""},
                                                                {root.FirstChild(), false, L"a  b"},
                                                                {root.LastChild(), false, L"<?p d?>"},
                                                                {&NullElement, false, L"</>"}};
  for (const auto& [node, indented, markup] : rows) {
    std::wstring text;
    WriteContext context(indented, &text);
    node->Write(context);
    EXPECT_EQ(markup, text);
  }
}

TEST(Tree, TextOfAContainerTreatsWhiteSpaceAsItsKindSays) {
  Document document(L"R");
  Element& root = *document.Root();
  root.AddText(L" a\r\n");
  root.AddText(L"b ");
  EXPECT_EQ(L"a\nb", root.GetText());
  root.KeepWhitespace(true);
  EXPECT_EQ(L" a\r\nb ", root.GetText());
  EXPECT_EQ(L"a b", document.GetText());
  EXPECT_EQ(L"", root.GetValue());
  EXPECT_EQ(L"", document.GetValue());
  Document blank(L"R");
  blank.Root()->AddText(L" \t\r\n");
  EXPECT_EQ(L"", blank.Root()->GetText());
}

}  // namespace
}  // namespace AdvXMLParser
