#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::tool {

// The exit status of a command.
enum Status : int {
  kDone = 0,
  kFound = 1,   // the command ran and found something that needs attention
  kFailed = 2,  // the command failed and standard error says why, or doctor has a failure row
};

// Writes UTF-8 to standard output; to a Windows console in UTF-16, independent of the code page. Throws
// OutputClosed if the reader has closed the output, so that the command ends, and Failure if the disk is
// full. Adds no line end.
void Print(std::string_view utf8);
// Writes "varnel: " and one line to standard error. Ignores a failure.
void PrintError(std::string_view utf8);

// Shows the progress of long work as a line on standard error and removes it at the end. Shows nothing if
// standard error is not a terminal.
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
  std::chrono::steady_clock::time_point shown_;  // time of the last update
};

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
