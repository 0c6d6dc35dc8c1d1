#pragma once

#include "catalogue/document_check.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace varnel::tool::catalogue {

// Compares many event documents with a catalogue, which must outlive it: what occurred how often.
class Coverage {
 public:
  // A deviation of one kind at one path.
  struct Row {
    Deviates how;
    std::string path;
    std::string text;
    std::size_t count = 0;
    std::string value;  // an example, and the file that has it
    std::string file;
  };
  // An event, attribute or child of the catalogue, in its order. Its parent is the event or child around it.
  struct Declared {
    std::string path;
    std::size_t count = 0;
    bool isPossible = true;  // false if its parent never occurred
  };

  explicit Coverage(const Catalogue& catalogue) : catalogue_(catalogue), check_(catalogue) {}

  // Adds a document. One of another product is only counted.
  void Add(const EventDocument& document);

  [[nodiscard]] std::vector<Declared> DeclaredItems() const;
  [[nodiscard]] std::vector<Row> Rows() const;
  // Deviations at further paths, for which there was no room.
  [[nodiscard]] std::size_t MoreDeviations() const { return more_; }
  // Events in the documents of the product, and documents of other products.
  [[nodiscard]] std::size_t Events() const { return events_; }
  [[nodiscard]] std::size_t OtherProducts() const { return others_; }

 private:
  // Limits the memory that files with made-up names can take.
  static constexpr std::size_t kMostRows = 1000;

  void Note(const Deviation& deviation, const std::string& file);
  void AddDeclared(const Content& content, const std::string& path, bool isPossible,
                   std::vector<Declared>& items) const;
  [[nodiscard]] std::size_t CountOf(const void* declared) const;

  const Catalogue& catalogue_;
  const DocumentCheck check_;
  std::unordered_map<const void*, std::size_t> seen_;
  std::map<std::pair<std::string, std::string>, Row> rows_;  // by path and text
  std::size_t more_ = 0;
  std::size_t events_ = 0;
  std::size_t others_ = 0;
};

}  // namespace varnel::tool::catalogue
