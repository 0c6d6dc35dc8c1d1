#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace varnel::tool {

// Writes a zip of deflated files, without Zip64. The same files give the same bytes: all of them have the
// same time, 1980-01-01, the first that a zip knows.
class ZipWriter {
 public:
  // `sink` takes the next bytes of the zip.
  explicit ZipWriter(std::function<void(std::string_view)> sink) : sink_(std::move(sink)) {}

  // Adds a file of less than 4 GB. `name` is UTF-8, relative and with '/' between its parts. Throws Failure
  // if the zip would have more than 65,535 files or 4 GB.
  void Add(std::string_view name, std::string_view bytes);
  // Writes the directory; nothing can be added afterwards.
  void Finish();

 private:
  void Write(std::string_view bytes);

  std::function<void(std::string_view)> sink_;
  std::string directory_;
  std::uint64_t size_ = 0;
  std::uint32_t count_ = 0;
};

}  // namespace varnel::tool
