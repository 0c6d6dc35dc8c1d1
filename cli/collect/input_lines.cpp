#include "collect/input_lines.h"

namespace varnel::tool {

bool InputLines::ReadMore() {
  constexpr std::size_t kPart = 256 * 1024;
  buffer_.erase(0, begin_);
  begin_ = 0;
  const std::size_t had = buffer_.size();
  buffer_.resize(had + kPart);
  buffer_.resize(had + source_(buffer_.data() + had, kPart));
  return buffer_.size() > had;
}

std::optional<InputLines::Line> InputLines::Next() {
  bool isTooLong = false;
  std::size_t searched = 0;  // bytes from begin_ on without a line end
  std::size_t end = 0;
  while ((end = buffer_.find('\n', begin_ + searched)) == buffer_.npos) {
    searched = buffer_.size() - begin_;
    if (searched > kLongest) {
      isTooLong = true;
      begin_ = buffer_.size();
      searched = 0;
    }
    if (ReadMore()) continue;
    if (searched == 0 && !isTooLong) return std::nullopt;
    end = buffer_.size();
    break;
  }
  std::string_view text = std::string_view(buffer_).substr(begin_, end - begin_);
  begin_ = end < buffer_.size() ? end + 1 : end;
  if (text.size() > kLongest) isTooLong = true;
  if (isTooLong) text = {};
  if (text.ends_with('\r')) text.remove_suffix(1);
  return Line{text, ++number_, isTooLong};
}

}  // namespace varnel::tool
