#include "bundle/free_text.h"

#include "bundle/encoded_text.h"
#include "catalogue/value_types.h"
#include "console/printable.h"
#include "console/utf8.h"
#include "eventfile/event_forms.h"
#include "eventfile/xml_tree.h"

#include <algorithm>

namespace varnel::tool {
namespace {

std::string_view TypeOf(std::string_view text) {
  using catalogue::ValueKind;
  for (const ValueKind kind : {ValueKind::kBoolean, ValueKind::kInteger, ValueKind::kTime, ValueKind::kGuid,
                               ValueKind::kSha256, ValueKind::kIp})
    if (catalogue::BuiltIn(kind).fits(text)) return catalogue::BuiltIn(kind).name;
  return "text";
}

// Counts the zero bytes at every second place.
std::size_t Zeros(std::string_view bytes, std::size_t first) {
  std::size_t count = 0;
  for (std::size_t i = first; i < bytes.size(); i += 2)
    if (bytes[i] == '\0') ++count;
  return count;
}

// Reads the parts of a line from its start.
class LineReader {
 public:
  explicit LineReader(std::string_view line) : line_(line) {}

  // Moves past a text in which '0' stands for a digit.
  bool Form(std::string_view form) {
    if (line_.size() - at_ < form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i)
      if (form[i] == '0' ? !IsDigit(line_[at_ + i]) : line_[at_ + i] != form[i]) return false;
    at_ += form.size();
    return true;
  }
  bool Digits() {
    const std::size_t start = at_;
    while (at_ < line_.size() && IsDigit(line_[at_])) ++at_;
    return at_ > start;
  }
  bool OneOf(std::string_view characters) {
    if (at_ == line_.size() || characters.find(line_[at_]) == characters.npos) return false;
    ++at_;
    return true;
  }
  bool Blanks() {
    const std::size_t start = at_;
    while (OneOf(" \t")) {
    }
    return at_ > start;
  }
  bool Word() {
    const std::size_t start = at_;
    at_ = std::min(line_.find_first_of(" \t", at_), line_.size());
    return at_ > start;
  }
  std::size_t At() const { return at_; }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view line_;
  std::size_t at_ = 0;
};

}  // namespace

std::string Described(std::string_view text) {
  if (IsBlank(text)) return std::string(text);
  const auto continues = std::count_if(text.begin(), text.end(), ContinuesUtf8);
  return "[" + std::string(TypeOf(text)) + ", " +
         Counted(text.size() - static_cast<std::size_t>(continues), "character") + "]";
}

std::string LogAsUtf8(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return FromUtf16(bytes.substr(2), false);
  if (bytes.starts_with("\xFE\xFF")) return FromUtf16(bytes.substr(2), true);
  if (bytes.starts_with("\xEF\xBB\xBF")) return std::string(bytes.substr(3));
  // Half of the bytes of Latin texts are zero, and none in UTF-8.
  const std::size_t enough = bytes.size() / 8 + 1;
  if (Zeros(bytes, 1) >= enough) return FromUtf16(bytes, false);
  if (Zeros(bytes, 0) >= enough) return FromUtf16(bytes, true);
  return std::string(bytes);
}

LogLine PartsOf(std::string_view line) {
  LineReader reader(line);
  bool isLine = reader.Form("0000-00-00 00:00:00");
  if (reader.Form(".")) isLine = reader.Digits() && isLine;
  isLine = isLine && reader.Blanks() && reader.OneOf("ewixEWIX") && reader.Blanks();
  if (isLine && reader.Form("Evt")) isLine = reader.Blanks();
  reader.OneOf("#");
  isLine = isLine && reader.Digits() && reader.Blanks() && reader.Word();
  reader.Blanks();
  return isLine ? LogLine{line.substr(0, reader.At()), line.substr(reader.At())} : LogLine{{}, line};
}

}  // namespace varnel::tool
