#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// What else a JSON text is for. A page shows it to a person, and no character in it may end the page's
// script.
enum class JsonUse { kData, kPage };

// Appends a text in quotes, in ASCII; bytes that are no UTF-8 become U+FFFD.
void AppendJsonText(std::string& json, std::string_view utf8, JsonUse use);

// Writes one JSON object into a string that may not grow beyond a limit: a member that does not fit is left
// out.
class JsonLine {
 public:
  JsonLine(std::string& json, std::size_t limit, JsonUse use) : json_(json), limit_(limit), use_(use) {
    json_ += '{';
  }
  JsonLine(const JsonLine&) = delete;
  JsonLine& operator=(const JsonLine&) = delete;

  void SetLimit(std::size_t limit) { limit_ = limit; }
  // True if so many more bytes fit.
  [[nodiscard]] bool HasRoom(std::size_t bytes) const { return json_.size() + bytes <= limit_; }
  void Open(std::string_view name);
  void Close() { json_ += '}'; }
  // These are false when the member has been left out.
  bool Text(std::string_view name, std::string_view value);
  bool Raw(std::string_view name, std::string_view value);  // a value that is JSON

 private:
  void Name(std::string_view name);

  std::string& json_;
  std::size_t limit_;
  const JsonUse use_;
};

}  // namespace varnel::tool
