#pragma once

#include "eventfile/files.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

// Outside Windows only: what the implementations of files share.
namespace varnel::tool {

// Owner of a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int value) noexcept : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { Close(); }
  [[nodiscard]] int Get() const noexcept { return value_; }
  explicit operator bool() const noexcept { return value_ >= 0; }
  // Returns false if the system reports an error.
  bool Close() noexcept { return value_ < 0 || close(std::exchange(value_, -1)) == 0; }

 private:
  int value_;
};

// Returns the error in errno.
[[nodiscard]] inline FileError LastFileError() {
  const auto number = static_cast<SystemError>(errno);
  if (errno == ENOENT || errno == ENOTDIR) return {Problem::kMissing, number};
  // Another program has a lease on the file, or its lock.
  return {errno == EWOULDBLOCK ? Problem::kInUse : Problem::kOther, number};
}

}  // namespace varnel::tool
