#pragma once

#include "bundle/event_places.h"
#include "bundle/scrubber.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// Redacts event documents and logs: values that say who or which machine it was are replaced by stand-ins.
// The Learn functions are for the first pass and are called for everything that will be redacted;
// FinishLearning ends it.
class Redaction {
 public:
  // `keepsFreeText`: texts that no catalogue declares stay, without the values found in them.
  Redaction(const Key& key, bool keepsFreeText) : scrubber_(key), keepsFreeText_(keepsFreeText) {}

  void AddCatalogue(const std::string& path) { places_.AddCatalogue(path); }

  void Learn(const EventDocument& document);
  void LearnLog(std::string_view log);
  void LearnText(std::string_view text) { scrubber_.LearnFrom(text); }
  void Learn(Form form, std::string_view value);
  void FinishLearning() { scrubber_.FinishLearning(); }

  // Returns the document as a file that passes the same checks as the original, which passes FindFaults.
  // Comments, processing instructions and namespaces are left out.
  [[nodiscard]] std::string Redacted(const EventDocument& document);
  // Returns a log that LogAsUtf8 has read, with a line for each of its lines.
  [[nodiscard]] std::string RedactedLog(std::string_view log);
  [[nodiscard]] std::string RedactedText(std::string_view text) { return scrubber_.Scrub(text); }
  // Returns the name, if the library has made it and it has no learned value, or a stand-in with the same
  // extension if that is .xml or .txml.
  [[nodiscard]] std::string RedactedFileName(std::string_view name);
  // Returns how many times a value was replaced.
  [[nodiscard]] std::size_t Count() const { return scrubber_.Count(); }

 private:
  class Learner;
  class Writer;

  [[nodiscard]] std::string RedactedLine(std::string_view line);

  Scrubber scrubber_;
  const bool keepsFreeText_;
  EventPlaces places_;
};

}  // namespace varnel::tool
