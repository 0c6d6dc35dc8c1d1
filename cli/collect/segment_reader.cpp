#include "collect/segment_reader.h"

namespace varnel::tool {

bool SegmentReader::AddTo(LineSums& lines, std::uint64_t end, std::uint64_t sum) {
  const LineSums::Mark mark = lines.Save();
  std::string line;
  while (isGood_ && offset_ < end && ReadLine(line)) sum ^= lines.Add(line);
  isGood_ = isGood_ && offset_ == end && sum == 0;
  if (isGood_) return true;
  lines.Restore(mark);
  return false;
}

bool SegmentReader::ReadLine(std::string& line) {
  constexpr std::size_t kPart = 64 * 1024;
  std::size_t length;
  while ((length = bytes_.find('\n', at_)) == bytes_.npos) {
    bytes_.erase(0, at_);
    at_ = 0;
    const std::size_t before = bytes_.size();
    bytes_.resize(before + kPart);
    bytes_.resize(before + input_.Read(bytes_.data() + before, kPart));
    if (bytes_.size() == before) return false;
  }
  line.assign(bytes_, at_, length - at_);
  offset_ += line.size() + 1;
  at_ = length + 1;
  return true;
}

}  // namespace varnel::tool
