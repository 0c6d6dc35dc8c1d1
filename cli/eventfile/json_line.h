#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// The use of a JSON text. On a page, texts are escaped so that a person can see every character and none can
// end the page's script.
enum class JsonUse { kData, kPage };

// Appends a text in quotes and in ASCII. Invalid UTF-8 becomes U+FFFD.
void AppendJsonText(std::string& json, std::string_view utf8, JsonUse use);

// Writes one JSON object into a string of limited length. A member that does not fit is left out. `limit` is
// the length of the whole string in bytes. Open and Close are not limited: leave room for them. Call Close
// once for each Open and once for the object.
class JsonLine {
 public:
  JsonLine(std::string& json, std::size_t limit, JsonUse use) : json_(json), limit_(limit), use_(use) {
    json_ += '{';
  }
  JsonLine(const JsonLine&) = delete;
  JsonLine& operator=(const JsonLine&) = delete;

  void SetLimit(std::size_t limit) { limit_ = limit; }
  // True if `bytes` more bytes fit.
  [[nodiscard]] bool HasRoom(std::size_t bytes) const { return json_.size() + bytes <= limit_; }
  void Open(std::string_view name);
  void Close() { json_ += '}'; }
  // Append a member. Return false if it does not fit and has been left out.
  bool Text(std::string_view name, std::string_view value);
  bool Raw(std::string_view name, std::string_view value);  // `value` is JSON

 private:
  void Name(std::string_view name);
  // Removes the member from `start` on if it does not fit; returns whether it fits.
  bool Keep(std::size_t start);

  std::string& json_;
  std::size_t limit_;
  const JsonUse use_;
};

}  // namespace varnel::tool
