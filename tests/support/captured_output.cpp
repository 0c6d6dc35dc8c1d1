#include "support/captured_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>

namespace varnel::test {

CapturedOutput::CapturedOutput() {
  std::fflush(stdout);
  original_ = _dup(_fileno(stdout));
  const int file =
      _wopen(folder_.File(L"output").c_str(), _O_CREAT | _O_WRONLY | _O_BINARY, _S_IWRITE | _S_IREAD);
  EXPECT_NE(-1, file);
  _dup2(file, _fileno(stdout));
  _close(file);
}

CapturedOutput::~CapturedOutput() {
  std::fflush(stdout);
  _dup2(original_, _fileno(stdout));
  _close(original_);
}

std::string CapturedOutput::Text() const {
  std::fflush(stdout);
  std::string text = ReadBytes(folder_.File(L"output"));
  std::erase(text, '\r');
  return text;
}

}  // namespace varnel::test
