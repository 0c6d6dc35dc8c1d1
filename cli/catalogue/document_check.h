#pragma once

#include "catalogue/content_index.h"
#include "eventfile/event_document.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace varnel::tool::catalogue {

// How a document deviates from a catalogue.
enum class Deviates { kUndeclared, kWrong, kMissing };

struct Deviation {
  Deviates how;
  std::string path;        // like MalwareDetected/File/@Action; begins with an event, or with the root
  std::string text;        // what is wrong
  std::string_view value;  // the value that is wrong; its bytes are those of the document
  std::size_t at;          // offset of an element in the file
};

// Compares event documents with a catalogue, which must outlive it. Time grows with the document and, for
// each element, with what the catalogue declares for it.
class DocumentCheck {
 public:
  explicit DocumentCheck(const Catalogue& catalogue) : catalogue_(catalogue), index_(catalogue) {}

  // Receives the address of each event, attribute and child of the catalogue that a document has.
  using Seen = std::function<void(const void* declared)>;
  using Report = std::function<void(const Deviation&)>;

  // True if the document has the product's name. Another product's documents have other catalogues.
  [[nodiscard]] bool IsOfProduct(const EventDocument& document) const;
  // Reports the document's deviations in document order, but what is missing after what is there.
  // Values of the library's own elements are left to FindFaults.
  void Check(const EventDocument& document, const Seen& seen, const Report& report) const;

 private:
  class Walk;

  const Catalogue& catalogue_;
  ContentIndex index_;
};

}  // namespace varnel::tool::catalogue
