#include "xml/document.h"
#include "xml/null_nodes.h"

#include <gtest/gtest.h>

namespace AdvXMLParser {
namespace {

TEST(NodeTree, DocumentHasItsRootAsOnlyChild) {
  const Document document(L"Root");
  ASSERT_EQ(1u, document.Children().size());
  EXPECT_EQ(document.Root(), document.Children()[0].get());
  EXPECT_EQ(&document, document.Root()->Parent());
  EXPECT_EQ(&NullElement, document.Parent());
}

TEST(NodeTree, NullNodesStandForWhatIsMissing) {
  Document document(L"R");
  Element& root = *document.Root();
  EXPECT_EQ(&NullAttribute, root.FindAttribute(L"A"));
  EXPECT_EQ(&NullElement, root.FindChildElement(L"E", 0));
  EXPECT_EQ(&NullElement, NullElement.AddElement(L"E"));
  EXPECT_EQ(&NullElement, NullElement.AddSiblingElement(L"E"));
  EXPECT_EQ(&NullAttribute, NullElement.GetOrAddAttribute(L"A"));
  EXPECT_TRUE(NullElement.Children().empty());
  EXPECT_EQ(&NullElement, NullElement.Parent());
  Element alone(L"E", nullptr);
  EXPECT_EQ(&NullElement, alone.AddSiblingElement(L"F"));
  for (const Node* const node :
       std::initializer_list<const Node*>{&NullElement, &NullAttribute, &NullCData, &NullComment, &NullPi})
    EXPECT_TRUE(IsNull(node));
  EXPECT_FALSE(IsNull(&alone));
}

TEST(NodeTree, SecondTextOfAnAttributeIsAddedToTheFirst) {
  Document document(L"R");
  document.Root()->GetOrAddAttribute(L"A")->AddText(L" 1");
  document.Root()->GetOrAddAttribute(L"A")->AddText(L"2 ");
  ASSERT_EQ(1u, document.Root()->Attributes().size());
  const Attribute& attribute = *document.Root()->FindAttribute(L"A");
  EXPECT_EQ(2u, attribute.Children().size());
  EXPECT_EQ(L"12", attribute.GetText());
  EXPECT_EQ(L"12", attribute.GetValue());
  EXPECT_TRUE(IsNull(document.Root()->FindAttribute(L"a")));
}

TEST(NodeTree, SiblingGoesToTheEnd) {
  Document document(L"R");
  Element* const first = document.Root()->AddElement(L"A");
  document.Root()->AddElement(L"B");
  Element* const added = first->AddSiblingElement(L"C");
  ASSERT_EQ(3u, document.Root()->Children().size());
  EXPECT_EQ(added, document.Root()->Children()[2].get());
  EXPECT_EQ(document.Root(), added->Parent());
}

TEST(NodeTree, ChildrenAreFoundByNameTypeAndIndex) {
  Document document(L"R");
  Element& root = *document.Root();
  root.AddText(L"first");
  root.AddElement(L"E");
  root.AddElement(L"F");
  Element* const second = root.AddElement(L"E");
  root.AddText(L"last");
  EXPECT_EQ(second, root.FindChildElement(L"E", 1));
  EXPECT_TRUE(IsNull(root.FindChildElement(L"E", 2)));
  EXPECT_TRUE(IsNull(root.FindChildElement(L"E", 0, kTextNode)));
  EXPECT_EQ(L"last", root.FindChildElement(L"#text", 1, kTextNode)->GetValue());
  EXPECT_EQ(L"first", root.GetChildText(0));
  EXPECT_EQ(L"first", root.GetChildText(5));
  EXPECT_EQ(L"", second->GetChildText(0));
}

TEST(NodeTree, TextOfAContainerTreatsWhiteSpaceAsItsKindSays) {
  Document document(L"R");
  Element& root = *document.Root();
  root.AddText(L" a\r\n");
  root.AddText(L"b ");
  EXPECT_EQ(L"a\nb", root.GetText());
  root.KeepWhitespace(true);
  EXPECT_EQ(L" a\r\nb ", root.GetText());
  EXPECT_EQ(L"a b", document.GetText());
  EXPECT_EQ(L"", root.GetValue());
  Document blank(L"R");
  blank.Root()->AddText(L" \t\r\n");
  EXPECT_EQ(L"", blank.Root()->GetText());
}

TEST(NodeTree, CloneIsDeepAndStandsAlone) {
  Document document(L"R");
  Element& root = *document.Root();
  root.GetOrAddAttribute(L"A")->AddText(L"x");
  root.AddElement(L"E")->AddText(L"t");
  root.Append(std::make_unique<CData>(nullptr, L"c"));
  root.Append(std::make_unique<Comment>(nullptr, L"d"));
  root.Append(std::make_unique<Pi>(L"p", nullptr, L"q"));
  const auto clone = document.Clone(nullptr);
  ASSERT_TRUE(clone->Is(kDocumentNode));
  const auto& copy = static_cast<const Document&>(*clone);
  EXPECT_EQ(document.ToString(false), copy.ToString(false));
  root.AddText(L"more");
  EXPECT_NE(document.ToString(false), copy.ToString(false));
  EXPECT_EQ(L"R", copy.Root()->Name());
}

}  // namespace
}  // namespace AdvXMLParser
