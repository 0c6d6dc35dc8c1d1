#pragma once

#include "base/handles.h"

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace varnel::tool {

// What a command returns to the shell.
enum Status : int {
  kDone = 0,
  kFound = 1,   // it ran, and there is something that should be looked at
  kFailed = 2,  // it could not do what was asked; standard error says why
};

// Standard output in UTF-8, whatever the code page: to a console as UTF-16. Throws OutputClosed when the
// reader has gone, so a command ends when its console is closed, and Failure when the disk is full.
void Print(std::string_view utf8);
// One line to standard error.
void PrintError(std::string_view utf8);

// While it lives, escape sequences for colours may be printed, if it says so: never to what is no console.
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
// How far long work is, as a line on standard error that comes and goes; only where that is a console.
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total) {}
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  // One more is done.
  void Next();

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  unsigned long long shown_ = 0;  // when, in milliseconds
};
// While it lives, what the library prints, its log lines, goes to standard error: printable, and in UTF-8.
// What Print prints does not.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

 private:
  KernelHandle thread_;
};

// Standard input to its end; UTF-8, without a byte-order mark. Throws Failure when there are more than `most`
// bytes.
[[nodiscard]] std::string ReadInput(std::size_t most);

// What a command says when it cannot go on: one line, with what to do.
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
  OutputClosed() : Failure("nobody reads the output any more") {}
};

}  // namespace varnel::tool
