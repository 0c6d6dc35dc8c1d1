#pragma once

#include "event_document.h"
#include "json_line.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// What a receiver takes by default: bytes of a text, fields of an event. And bytes of a whole event.
constexpr std::size_t kLongestText = 32'766;
constexpr std::size_t kMostLabels = 900;
constexpr std::size_t kLongestLine = 384 * 1024;

// At most kLongestText bytes of a text, in whole characters.
[[nodiscard]] std::string_view Cut(std::string_view text);

// What an event's line does not hold.
struct LeftOut {
  std::size_t fields = 0;
  std::size_t labels = 0;
  std::size_t texts = 0;                    // that are cut
  std::size_t events = 0;                   // before this one
  [[nodiscard]] std::string Words() const;  // empty when there is nothing
};

// Labels that all events of a document have: made once, because a file may have many events.
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

// Labels of one event, members of the object that is open in a line. A name is made of the names on the way,
// joined by "_"; one that is taken gets a number. Those that come first stay when there are too many.
class Labels {
 public:
  Labels(JsonLine& line, LeftOut& leftOut) : line_(line), leftOut_(leftOut) {}
  void operator()(std::string_view path, std::string_view text);
  void Add(const SharedLabels& shared);

 private:
  bool Fits(std::size_t bytes);
  void Count(bool isIn);
  std::string NameFor(std::string_view path);

  JsonLine& line_;
  LeftOut& leftOut_;
  std::size_t count_ = 1;  // with the one that says what is left out
  bool isFull_ = false;
  std::set<std::string> taken_ = {"left_out"};
  std::map<std::string, int> last_;  // number given to a name
};

// Calls add(path, text) for attributes, or for an element and all that is in it. The path grows by the names.
template <class Add>
void WalkAttributes(std::string& path, const Element& element, Add& add) {
  const std::size_t length = path.size();
  for (const auto& [name, value] : element.Attributes()) {
    path += name;
    add(path, value);
    path.resize(length);
  }
}
template <class Add>
void WalkElement(std::string& path, const Element& element, Add& add) {
  const std::size_t length = path.size();
  path += element.Name();
  if (!IsBlank(element.Text()) || (element.Children().empty() && element.Attributes().empty()))
    add(path, element.Text());
  path += '_';
  WalkAttributes(path, element, add);
  for (const Element child : element.Children()) WalkElement(path, child, add);
  path.resize(length);
}

}  // namespace varnel::tool
