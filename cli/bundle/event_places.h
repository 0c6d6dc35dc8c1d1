#pragma once

#include "bundle/stand_ins.h"
#include "catalogue/content_index.h"
#include "eventfile/event_document.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// How the redaction treats a value.
enum class Care {
  kKeep,     // keep it: its form leaves no room for anything about a person
  kName,     // keep it without learned values: the product's name, version and family
  kTyped,    // keep it unless it was learned: a declared value that is no text
  kText,     // keep it without the values found in it: a declared text
  kMarked,   // replace it as a whole
  kUnknown,  // it is not declared, so it may be anything
};
struct Place {
  Care care = Care::kUnknown;
  Form form = Form::kPersonal;     // of a kTyped or kMarked value
  std::string_view constant = {};  // replaces a kMarked value whose type has few values
};

// Receives the elements of a document in their order: Open, its attributes, its text, its children, Close.
// Names that a catalogue declares and those of the library are public.
class PlaceVisitor {
 public:
  virtual ~PlaceVisitor() = default;
  virtual void Open(const Element& element, bool isPublic) = 0;
  virtual void Attribute(std::string_view name, bool isPublic, std::string_view value,
                         const Place& place) = 0;
  virtual void Text(std::string_view text, const Place& place) = 0;
  virtual void Close() = 0;
};

// Finds out what the values of event documents are, by the catalogues of the products.
class EventPlaces {
 public:
  // Adds the catalogue in a file. Throws like LoadCatalogue.
  void AddCatalogue(const std::string& path);
  void Visit(const EventDocument& document, PlaceVisitor& visitor) const;

 private:
  struct Declared {
    explicit Declared(const std::string& path);
    const catalogue::Catalogue catalogue;
    const catalogue::ContentIndex index;
  };
  class Walk;

  std::vector<std::unique_ptr<Declared>> catalogues_;
};

}  // namespace varnel::tool
