#pragma once

#include "support/temp_folder.h"

#include <string>

namespace varnel::test {

// Redirects the process's standard output to a file during its lifetime. The DLL uses the same C runtime, so
// its console lines are captured too.
class CapturedOutput {
 public:
  CapturedOutput();
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  // Returns the output so far, with line feeds as line ends.
  std::string Text() const;

 private:
  TempFolder folder_;
  int original_;
};

// Returns the output of work().
template <class Work>
std::string OutputOf(Work work) {
  const CapturedOutput output;
  work();
  return output.Text();
}

}  // namespace varnel::test
