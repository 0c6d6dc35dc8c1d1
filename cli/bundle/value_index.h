#pragma once

#include "bundle/text_units.h"

#include <functional>

namespace varnel::tool {

// Finds many values in texts at once, in time proportional to the text (Aho and Corasick's automaton).
class ValueIndex {
 public:
  // Takes folded texts that are not empty.
  explicit ValueIndex(std::vector<std::u32string> values = {});

  // Calls found(first, length) for occurrences in a folded text: at each place where values end, the longest
  // one that may occur there. A value that is short or a number must be a whole word there.
  using Found = std::function<void(std::size_t first, std::size_t length)>;
  void Search(const Units& folded, const Found& found) const;

 private:
  // A prefix of values. The nodes are in the order of their lengths, so the children of a node are those from
  // its firstChild to the next node's.
  struct Node {
    char32_t code = 0;
    std::uint32_t firstChild = 0;
    std::uint32_t suffix = 0;       // the longest other prefix that this one ends in
    std::uint32_t shorterEnd = 0;   // the longest value that is a proper suffix; 0: none
    std::uint32_t length : 30 = 0;  // in characters
    std::uint32_t isValue : 1 = 0;
    std::uint32_t isWord : 1 = 0;  // it must be a whole word
  };

  void Build(const std::vector<std::u32string>& values);
  [[nodiscard]] std::uint32_t Child(std::uint32_t node, char32_t code) const;
  [[nodiscard]] std::uint32_t Step(std::uint32_t node, char32_t code) const;

  std::vector<Node> nodes_;
};

}  // namespace varnel::tool
