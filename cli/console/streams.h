#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

// The standard streams of the system: streams_windows.cpp and streams_posix.cpp.
namespace varnel::tool {

enum class Stream { kOutput, kErrors };

// An error number of the system; 0 for success.
using SystemError = unsigned long;

// Returns the system's text for an error, in one line and with its number.
[[nodiscard]] std::string DescribeError(SystemError error);

[[nodiscard]] bool IsTerminal(Stream stream);

struct WriteResult {
  bool isWritten = false;
  bool isClosed = false;  // the reader has closed the stream
  SystemError error = 0;
};
// Writes all of a text, as UTF-8 or in the form of a Windows console.
WriteResult Write(Stream stream, std::string_view utf8);

struct ReadResult {
  std::size_t count = 0;  // 0 at the end of the input, and after an error
  SystemError error = 0;
};
// Reads the next bytes of standard input.
[[nodiscard]] ReadResult ReadStandardInput(char* bytes, std::size_t most);

void Pause(std::chrono::milliseconds time);

}  // namespace varnel::tool
