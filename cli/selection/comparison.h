#pragma once

#include "eventfile/event_document.h"

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

// How often events and the values of their labels occur on two sides. Memory is limited, whatever the files
// say: labels and kinds of events for which there is no room are not compared.
class Comparison {
 public:
  using Counts = std::array<std::size_t, 2>;  // of the two sides

  // Adds events to a side, 0 or 1.
  void Add(std::size_t side, const std::vector<PlacedEvent>& events);

  // A kind of events, or those with a label.
  struct Subject {
    std::string id, name;
    std::string label;  // empty: all events of the kind
    std::string value;
  };
  enum class How { kOnly, kMore };
  // Something that occurs on one side only, or more than three times as often as there.
  struct Difference {
    How how = How::kOnly;
    std::size_t side = 0;
    Subject subject;
    Counts counts{};
  };
  struct Result {
    double scale = 1;  // how many times as many events of a kind are on side 1, usually
    std::vector<Difference> differences;
    std::vector<Subject> varying;  // labels whose values were not compared, as nearly each event has its own
  };
  [[nodiscard]] Result Compare() const;
  // Returns the number of a side's events.
  [[nodiscard]] std::size_t Events(std::size_t side) const { return events_[side]; }
  // True if there was no room for all kinds, labels and values.
  [[nodiscard]] bool IsCut() const { return isCut_; }

 private:
  struct Label {
    Counts counts{};
    std::map<std::string, Counts, std::less<>> values;
    bool isFull = false;     // there were too many values, so none is kept
    bool lookUnique = true;  // all values have the form of a time or a GUID
    [[nodiscard]] bool IsVarying() const;
  };
  struct Kind {
    Counts counts{};
    std::map<std::string, Label, std::less<>> labels;
  };
  using Kinds = std::map<std::pair<std::string, std::string>, Kind>;  // by identifier and name

  void AddLabel(std::size_t side, Kind& kind, std::string_view path, std::string_view text);
  // True if there is room for one more kind, label or value.
  bool HasRoom();
  [[nodiscard]] double Scale() const;

  Kinds kinds_;
  std::size_t entries_ = 0;
  Counts events_{};
  bool isCut_ = false;
};

}  // namespace varnel::tool
