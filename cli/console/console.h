#pragma once

#include "base/handles.h"

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::tool {

// The exit status of a command.
enum Status : int {
  kDone = 0,
  kFound = 1,   // the command ran and found something that needs attention
  kFailed = 2,  // the command failed; standard error says why
};

// Writes to standard output in UTF-8, or to a console in UTF-16, independent of the code page. Throws
// OutputClosed if the reader has closed the output, so that the command ends, and Failure if the disk is
// full.
void Print(std::string_view utf8);
// Writes one line to standard error.
void PrintError(std::string_view utf8);

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
// Shows the progress of long work as a line on standard error and removes it at the end. Shows nothing if
// standard error is not a console.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total) {}
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  // Counts one finished unit of work.
  void Next();

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  unsigned long long shown_ = 0;  // time of the last update in milliseconds
};
// Redirects the library's log lines from standard output to standard error during its lifetime, printable and
// in UTF-8. Print still writes to standard output.
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

// Ends a command with one line for standard error: what is wrong and what to do.
class Failure : public std::exception {
 public:
  explicit Failure(std::string line) : line_(std::move(line)) {}
  const char* what() const noexcept override { return line_.c_str(); }

 private:
  std::string line_;
};

// Thrown by Print.
class OutputClosed : public Failure {
 public:
  OutputClosed() : Failure("the reader has closed the output") {}
};

}  // namespace varnel::tool
