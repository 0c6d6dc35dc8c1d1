#pragma once

#include "collect/receipt.h"
#include "eventfile/files.h"

#include <cstdint>
#include <string>

namespace varnel::tool {

// Reads the lines of the open segment after a restart, one event file after the other.
class SegmentReader {
 public:
  explicit SegmentReader(const NativePath& path) : input_(path, InputFile::Links::kRefuse) {}

  // Adds the lines up to the offset `end`. If they are not in the file, or the exclusive or of their digests
  // is not `sum`, adds none and returns false, now and later.
  [[nodiscard]] bool AddTo(LineSums& lines, std::uint64_t end, std::uint64_t sum);

 private:
  // Returns false at the end of the file.
  bool ReadLine(std::string& line);

  InputFile input_;
  bool isGood_ = true;
  std::uint64_t offset_ = 0;  // after the last line
  std::string bytes_;
  std::size_t at_ = 0;  // of the next line in bytes_
};

}  // namespace varnel::tool
