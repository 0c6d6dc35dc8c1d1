#pragma once

#include "base/com_ptr.h"
#include "base/handles.h"
#include "xml_scan.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct IXmlReader;

namespace varnel::tool {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// An element of a file, in UTF-8.
struct Element {
  std::string name;
  bool inNamespace = false;
  std::string text;  // all of it; without the blanks behind a child
  Attributes attributes;
  std::vector<Element> children;
  Place place;
  std::optional<Place> lateText;  // text behind a child
  // Whether it has this name and no namespace, as everything has that is the library's own.
  [[nodiscard]] bool Is(std::string_view wanted) const { return !inNamespace && name == wanted; }
};

[[nodiscard]] bool IsBlank(std::string_view text);

struct XmlFile {
  FileState state = FileState::kWhole;
  Element root;  // when it is whole
  Fault fault;   // when it is not
};

// The system's XML reader. Not synchronised.
class XmlParser {
 public:
  // Throws Failure when the system has none.
  XmlParser();
  ~XmlParser();
  XmlParser(const XmlParser&) = delete;
  XmlParser& operator=(const XmlParser&) = delete;
  // Of a file's bytes, with or without a byte-order mark.
  [[nodiscard]] XmlFile Parse(std::string_view utf8);

 private:
  LoadedLibrary library_;
  ComPtr<IXmlReader> reader_;
};

}  // namespace varnel::tool
