#pragma once

#include "support/temp_folder.h"

#include <string>

namespace varnel::test {

// Sends the process's standard output to a file while it lives. The C runtime is the DLL's too, so its
// console lines are caught.
class CapturedOutput {
 public:
  CapturedOutput();
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  // Everything written so far, with line feeds as line ends.
  std::string Text() const;

 private:
  TempFolder folder_;
  int original_;
};

// What is printed meanwhile.
template <class Work>
std::string OutputOf(Work work) {
  const CapturedOutput output;
  work();
  return output.Text();
}

}  // namespace varnel::test
