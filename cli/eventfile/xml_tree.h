#pragma once

#include "console/utf8.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::tool {

class Element;

// Line and column in a file, both from 1. Columns count UTF-16 units.
struct Position {
  std::size_t line = 1;
  std::size_t column = 1;
};

// The elements of a document, in the order of their start tags. Texts refer to the file's bytes, so they are
// valid only as long as the file's bytes and the tree. An element takes 28 bytes and an attribute 16, besides
// the texts that are written in another form in the file.
class XmlTree {
 public:
  // `file` has no byte-order mark. File and decoded texts together are at most 4 GB.
  explicit XmlTree(std::string_view file = {}) : file_(file) {}
  // Returns the root element. The document must be whole.
  [[nodiscard]] Element Root() const;
  // Returns the position of an offset in the file, also in a file that is not whole. Takes time in proportion
  // to the offset.
  [[nodiscard]] Position PositionOf(std::size_t offset) const;

 private:
  friend class Element;
  friend class XmlReader;
  struct Slice {
    std::uint32_t at = 0;  // an offset in the file or, less file_.size(), in decoded_
    std::uint32_t length = 0;
  };
  struct ElementNode {
    Slice name;
    Slice text;
    std::uint32_t end = 0;              // index after the last element below this one
    std::uint32_t lateText = 0;         // offset in the file of the first text after a child; 0: none
    std::uint32_t attributes : 31 = 0;  // index of the first; the next element's index ends them
    std::uint32_t inNamespace : 1 = 0;  // the element is in a default namespace
  };
  struct AttributeNode {
    Slice name;
    Slice value;
  };
  [[nodiscard]] std::string_view View(Slice slice) const {
    if (slice.at < file_.size()) return file_.substr(slice.at, slice.length);
    return std::string_view(decoded_).substr(slice.at - file_.size(), slice.length);
  }

  std::string_view file_;
  std::string decoded_;
  std::deque<ElementNode> elements_;  // a deque grows without copying all its elements
  std::deque<AttributeNode> attributes_;
};

// A pair of iterators for a range-based for loop.
template <class Iterator>
class Range {
 public:
  Range(Iterator first, Iterator last) : first_(first), last_(last) {}
  [[nodiscard]] Iterator begin() const { return first_; }
  [[nodiscard]] Iterator end() const { return last_; }
  [[nodiscard]] bool empty() const { return !(first_ != last_); }

 private:
  Iterator first_, last_;
};

// A reference to an element of a tree, cheap to copy.
class Element {
 public:
  // Name and value.
  using Attribute = std::pair<std::string_view, std::string_view>;
  class AttributeIterator;
  class ChildIterator;

  Element(const XmlTree& tree, std::size_t index) : tree_(&tree), index_(static_cast<std::uint32_t>(index)) {}
  bool operator==(const Element&) const = default;

  // Returns the name with its prefix.
  [[nodiscard]] std::string_view Name() const { return tree_->View(Node().name); }
  // True if the element has this name and no namespace, like all elements that the library writes itself.
  [[nodiscard]] bool Is(std::string_view wanted) const { return !Node().inNamespace && Name() == wanted; }
  // Returns the element's own text, without runs of blanks after a child.
  [[nodiscard]] std::string_view Text() const { return tree_->View(Node().text); }
  // Return attributes, without namespace declarations, and children in document order.
  [[nodiscard]] Range<AttributeIterator> Attributes() const;
  [[nodiscard]] Range<ChildIterator> Children() const;
  // Returns the bytes of the whole file, without a byte-order mark.
  [[nodiscard]] std::string_view File() const { return tree_->file_; }
  // Returns the offset of the element's name in the file.
  [[nodiscard]] std::size_t Offset() const { return Node().name.at; }
  // Returns the offset of the first text after a child; 0 if there is none.
  [[nodiscard]] std::size_t LateText() const { return Node().lateText; }
  // Returns the offset of the name of the last element below this one, or of its own name.
  [[nodiscard]] std::size_t LastOffset() const { return tree_->elements_[Node().end - 1].name.at; }

 private:
  [[nodiscard]] const XmlTree::ElementNode& Node() const { return tree_->elements_[index_]; }

  const XmlTree* tree_;
  std::uint32_t index_;
};

class Element::AttributeIterator {
 public:
  AttributeIterator(const XmlTree& tree, std::size_t index) : tree_(&tree), index_(index) {}
  [[nodiscard]] Attribute operator*() const {
    const XmlTree::AttributeNode& node = tree_->attributes_[index_];
    return {tree_->View(node.name), tree_->View(node.value)};
  }
  AttributeIterator& operator++() {
    ++index_;
    return *this;
  }
  bool operator!=(const AttributeIterator& other) const { return index_ != other.index_; }

 private:
  const XmlTree* tree_;
  std::size_t index_;
};

class Element::ChildIterator {
 public:
  explicit ChildIterator(Element element) : element_(element) {}
  [[nodiscard]] Element operator*() const { return element_; }
  ChildIterator& operator++() {
    element_.index_ = element_.Node().end;
    return *this;
  }
  bool operator!=(const ChildIterator& other) const { return element_.index_ != other.element_.index_; }

 private:
  Element element_;
};

inline Element XmlTree::Root() const {
  return {*this, 0};
}

inline Position XmlTree::PositionOf(std::size_t offset) const {
  Position position;
  for (const char byte : file_.substr(0, offset)) {
    if (byte == '\n')
      position = {position.line + 1, 1};
    else if (!ContinuesUtf8(byte))
      position.column += static_cast<unsigned char>(byte) >= 0xF0 ? 2 : 1;
  }
  return position;
}

inline Range<Element::AttributeIterator> Element::Attributes() const {
  const bool isLast = index_ + 1 == tree_->elements_.size();
  const std::size_t end = isLast ? tree_->attributes_.size() : tree_->elements_[index_ + 1].attributes;
  return {{*tree_, Node().attributes}, {*tree_, end}};
}

inline Range<Element::ChildIterator> Element::Children() const {
  return {ChildIterator({*tree_, index_ + 1U}), ChildIterator({*tree_, Node().end})};
}

[[nodiscard]] inline bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == text.npos;
}

}  // namespace varnel::tool
