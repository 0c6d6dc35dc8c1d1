#pragma once

#include <cstdint>

namespace AdvXMLParser {

// Base of the library's exceptions.
class Exception {
 public:
  virtual ~Exception() = default;
};

// Thrown by WriteToFile. It carries no text: the reason is what GetLastErrorText() gives.
class ReadWriteException final : public Exception {
 public:
  ReadWriteException(std::int32_t status, std::uint32_t detailValue) noexcept
      : code(status), detail(detailValue) {}

  std::int32_t code;  // the negative status of SaveToFile
  std::uint32_t detail;
};

}  // namespace AdvXMLParser
