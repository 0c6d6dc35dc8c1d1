#pragma once

#include "eventfile/event_document.h"
#include "eventfile/json_line.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Default limits of receivers: bytes of a text, labels of an event, and bytes of an event's line.
constexpr std::size_t kLongestText = 32'766;
constexpr std::size_t kMostLabels = 900;
constexpr std::size_t kLongestLine = 384 * 1024;

// Returns the text, cut after a whole character to at most kLongestText bytes.
[[nodiscard]] std::string_view Cut(std::string_view text);

// Counts the parts that an event's line leaves out.
struct LeftOut {
  std::size_t fields = 0;
  std::size_t labels = 0;
  std::size_t texts = 0;                    // texts that were cut
  std::size_t events = 0;                   // events before this one
  [[nodiscard]] std::string Words() const;  // the counts in words; empty if all are 0
};

// The labels that all events of a document share. They are made once, because a file may have many events.
class SharedLabels {
 public:
  explicit SharedLabels(JsonUse use) : use_(use) {}
  void operator()(std::string_view path, std::string_view text);

 private:
  friend class Labels;
  struct Label {
    std::string path;
    std::string json;
  };
  const JsonUse use_;
  std::vector<Label> labels_;
  std::size_t bytes_ = 0;
  LeftOut leftOut_;
};

// The names of the labels of one event, in the order in which they are added. A name joins the element names
// on the label's path by "_"; a second label of the same name gets a number.
class LabelNames {
 public:
  [[nodiscard]] std::string NameFor(std::string_view path);

 private:
  std::set<std::string> taken_ = {"left_out"};
  std::map<std::string, int> last_;  // the last number given to a name
};

// Adds the labels of one event to the object that is open in a line. When there are too many, the first
// ones stay.
class Labels {
 public:
  Labels(JsonLine& line, LeftOut& leftOut) : line_(line), leftOut_(leftOut) {}
  void operator()(std::string_view path, std::string_view text);
  void Add(const SharedLabels& shared);

 private:
  bool Fits(std::size_t bytes);
  void Count(bool isIn);

  JsonLine& line_;
  LeftOut& leftOut_;
  std::size_t count_ = 1;  // includes "left_out"
  bool isFull_ = false;
  LabelNames names_;
};

}  // namespace varnel::tool
