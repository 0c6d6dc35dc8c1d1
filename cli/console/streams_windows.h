#pragma once

#include "base/handles.h"

#include <cstddef>
#include <memory>
#include <string>

// Windows only: what the commands that ask this machine need of the console.
namespace varnel::tool {

// Switches on the console's escape sequences for colours during its lifetime. False if standard output is not
// a console that supports them.
class ConsoleColours {
 public:
  ConsoleColours();
  ~ConsoleColours();
  ConsoleColours(const ConsoleColours&) = delete;
  ConsoleColours& operator=(const ConsoleColours&) = delete;
  explicit operator bool() const noexcept { return on_; }

 private:
  unsigned long before_ = 0;
  bool on_;
};

// Redirects the library's log lines from standard output to standard error during its lifetime, printable and
// in UTF-8. Print still writes to standard output. Afterwards the lines go to standard error as the library
// writes them. If Windows refuses the pipe or the thread, nothing is redirected.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

 private:
  KernelHandle thread_;
};

// Reads standard input (UTF-8) to its end and returns it without a byte-order mark. Throws Failure if it has
// more than `most` bytes.
[[nodiscard]] std::string ReadInput(std::size_t most);

struct LocalFreer {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};
// Owner of memory from LocalAlloc.
template <class T>
using LocalMemory = std::unique_ptr<T, LocalFreer>;

}  // namespace varnel::tool
