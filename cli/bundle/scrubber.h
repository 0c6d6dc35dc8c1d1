#pragma once

#include "bundle/patterns.h"
#include "bundle/stand_ins.h"
#include "bundle/value_index.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace varnel::tool {

// Replaces values by stand-ins, in two passes: first it learns which values there are, then it finds them in
// all texts, in every reading of a text (ReadingsOf) and in base64 and hexadecimal digits, and also what
// FindPatterns recognises.
class Scrubber {
 public:
  explicit Scrubber(const Key& key) : standIns_(key) {}

  // Learns a value that must not be in the bundle. Names that every machine has, like SYSTEM, single
  // characters and numbers of up to three digits are not searched in texts.
  void Learn(Form form, std::string_view value);
  // Learns the name of a machine or user, and the names in it: DOMAIN\user, user@domain, pc.domain, First
  // Last.
  void LearnName(Form form, std::string_view name);
  // Learns the users, machines and hardware addresses that are recognised in a text.
  void LearnFrom(std::string_view text);
  // Ends the first pass.
  void FinishLearning();

  // Returns the text with stand-ins for all values found in it; the rest stays as it is.
  [[nodiscard]] std::string Scrub(std::string_view text) { return Replaced(text, Search::kEverything); }
  // The same for a name, in which only learned values are searched.
  [[nodiscard]] std::string ScrubName(std::string_view name) { return Replaced(name, Search::kLearned); }
  // Returns the stand-in of a whole value; a GUID keeps its braces.
  [[nodiscard]] std::string StandInFor(Form form, std::string_view value);
  // True if the value, as a whole, was learned.
  [[nodiscard]] bool Knows(std::string_view value) const;
  // Returns how many times a value was replaced.
  [[nodiscard]] std::size_t Count() const { return count_; }

 private:
  enum class Search { kLearned, kEverything };
  struct Known {
    Form form;
    std::string value;
  };
  struct Span {
    std::size_t begin, end;  // bytes of the text
    std::string standIn;
  };

  void Add(Form form, std::u32string_view folded);
  void LearnFrom(std::string_view text, int depth);
  [[nodiscard]] std::string Replaced(std::string_view text, Search search);
  [[nodiscard]] std::vector<Span> SpansOf(std::string_view text, Search search);
  void AddPattern(const Units& folded, const Recognised& recognised, std::vector<Span>& spans);
  void AddEncoded(const Units& reading, std::vector<Span>& spans);
  [[nodiscard]] bool HasValue(std::string_view text, int depth) const;
  [[nodiscard]] bool HasValue(const Units& reading, bool isPlain) const;
  [[nodiscard]] const std::string& StandInOf(Form form, const std::string& value);

  StandIns standIns_;
  std::unordered_map<std::string, Known> known_;  // by the folded value
  ValueIndex index_;
  std::size_t count_ = 0;
};

}  // namespace varnel::tool
