#include "bundle/value_index.h"

#include "bundle/folding.h"

#include <algorithm>

namespace varnel::tool {
namespace {

// A shorter value occurs by chance inside words.
constexpr std::size_t kAnywhere = 5;

bool MustBeWord(const std::u32string& value) {
  return value.size() < kAnywhere || value.find_first_not_of(U"0123456789") == value.npos;
}

// True if a word may end between these characters: at a change between letters, digits and the rest.
bool IsWordEnd(char32_t inside, char32_t outside) {
  return KindOf(inside) == CharacterKind::kOther || KindOf(inside) != KindOf(outside);
}

// True for the letter of an escape like \n, which is no part of the word after it.
bool IsEscapeLetter(const Units& text, std::size_t at) {
  return at > 0 && text[at - 1].code == '/' &&
         std::u32string_view(U"nrtbf").find(text[at].code) != std::u32string_view::npos;
}

bool IsWord(const Units& text, std::size_t first, std::size_t end) {
  const bool isStart =
      first == 0 || IsWordEnd(text[first].code, text[first - 1].code) || IsEscapeLetter(text, first - 1);
  return isStart && (end == text.size() || IsWordEnd(text[end - 1].code, text[end].code));
}

}  // namespace

ValueIndex::ValueIndex(std::vector<std::u32string> values) {
  std::sort(values.begin(), values.end());
  values.erase(std::unique(values.begin(), values.end()), values.end());
  Build(values);
}

void ValueIndex::Build(const std::vector<std::u32string>& values) {
  struct Group {
    std::size_t first, end;  // the values that begin with a prefix
  };
  std::vector<Group> groups = {{0, values.size()}};
  nodes_.push_back({});
  for (std::uint32_t i = 0; i < nodes_.size(); ++i) {
    nodes_[i].firstChild = static_cast<std::uint32_t>(nodes_.size());
    const std::size_t length = nodes_[i].length;
    auto [at, end] = groups[i];
    if (at < end && values[at].size() == length) {
      nodes_[i].isValue = 1;
      nodes_[i].isWord = MustBeWord(values[at]) ? 1 : 0;
      ++at;
    }
    while (at < end) {
      const char32_t code = values[at][length];
      std::size_t next = at;
      while (next < end && values[next][length] == code) ++next;
      Node child;
      child.code = code;
      child.length = static_cast<std::uint32_t>(length + 1) & 0x3FFF'FFFF;
      child.suffix = i == 0 ? 0 : Step(nodes_[i].suffix, code);
      const Node& suffix = nodes_[child.suffix];
      child.shorterEnd = suffix.isValue ? child.suffix : suffix.shorterEnd;
      nodes_.push_back(child);
      groups.push_back({at, next});
      at = next;
    }
  }
  Node end;  // ends the children of the last node
  end.firstChild = static_cast<std::uint32_t>(nodes_.size());
  nodes_.push_back(end);
}

// Returns 0 if there is no such child.
std::uint32_t ValueIndex::Child(std::uint32_t node, char32_t code) const {
  const Node* const first = nodes_.data() + nodes_[node].firstChild;
  const Node* const end = nodes_.data() + nodes_[node + 1].firstChild;
  const Node* const found = std::lower_bound(
      first, end, code, [](const Node& child, char32_t wanted) { return child.code < wanted; });
  return found != end && found->code == code ? static_cast<std::uint32_t>(found - nodes_.data()) : 0;
}

std::uint32_t ValueIndex::Step(std::uint32_t node, char32_t code) const {
  for (;; node = nodes_[node].suffix) {
    const std::uint32_t child = Child(node, code);
    if (child != 0 || node == 0) return child;
  }
}

void ValueIndex::Search(const Units& folded, const Found& found) const {
  std::uint32_t node = 0;
  for (std::size_t i = 0; i < folded.size(); ++i) {
    node = Step(node, folded[i].code);
    for (std::uint32_t end = nodes_[node].isValue ? node : nodes_[node].shorterEnd; end != 0;
         end = nodes_[end].shorterEnd) {
      const std::size_t first = i + 1 - nodes_[end].length;
      if (nodes_[end].isWord && !IsWord(folded, first, i + 1)) continue;
      found(first, nodes_[end].length);
      break;
    }
  }
}

}  // namespace varnel::tool
