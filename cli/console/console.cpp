#include "console/console.h"

#include "console/text.h"

#include <windows.h>
#include <io.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace varnel::tool {
namespace {

// The handle of standard output after LogLines has redirected the C runtime's stdout; null before.
HANDLE g_output = nullptr;

HANDLE Output() {
  return g_output ? g_output : GetStdHandle(STD_OUTPUT_HANDLE);
}

// True while the current line of standard error is a line of Progress.
bool g_progress = false;

bool IsConsole(HANDLE stream) {
  DWORD mode = 0;
  return GetConsoleMode(stream, &mode) != FALSE;
}

bool Write(HANDLE stream, std::string_view utf8) {
  constexpr std::size_t kMost = 16'384;  // a console accepts no more in one call
  DWORD written = 0;
  if (!IsConsole(stream)) {
    for (; !utf8.empty(); utf8.remove_prefix(written))
      if (!WriteFile(stream, utf8.data(), static_cast<DWORD>(std::min<std::size_t>(utf8.size(), 1 << 20)),
                     &written, nullptr) ||
          written == 0)
        return false;
    return true;
  }
  const std::wstring text = ToWide(utf8);
  for (std::size_t done = 0; done < text.size(); done += written)
    if (!WriteConsoleW(stream, text.data() + done, static_cast<DWORD>(std::min(text.size() - done, kMost)),
                       &written, nullptr) ||
        written == 0)
      return false;
  return true;
}

void WipeProgress() {
  if (std::exchange(g_progress, false))
    Write(GetStdHandle(STD_ERROR_HANDLE), "\r                              \r");
}

// Copies log lines from a pipe to standard error until the pipe's other end is closed.
DWORD WINAPI PassOn(void* end) {
  const KernelHandle pipe(end);
  std::string line;
  char part[4096];
  DWORD read = 0;
  while (ReadFile(pipe.Get(), part, sizeof(part), &read, nullptr) && read > 0) {
    for (const char byte : std::string_view(part, read)) {
      if (byte != '\n') {
        line += byte;
        continue;
      }
      if (line.ends_with('\r')) line.pop_back();
      Write(GetStdHandle(STD_ERROR_HANDLE), Printable(FromAnsi(line)) + "\n");
      line.clear();
    }
  }
  return 0;
}

}  // namespace

Progress::~Progress() {
  WipeProgress();
}

void Progress::Next() {
  constexpr ULONGLONG kBetween = 200;
  ++done_;
  const ULONGLONG now = GetTickCount64();
  if (shown_ == 0) shown_ = now;
  if (now - shown_ < kBetween || !IsConsole(GetStdHandle(STD_ERROR_HANDLE))) return;
  shown_ = now;
  g_progress =
      Write(GetStdHandle(STD_ERROR_HANDLE), "\r" + std::to_string(done_) + " of " + std::to_string(total_));
}

void Print(std::string_view utf8) {
  WipeProgress();
  SetLastError(ERROR_SUCCESS);
  if (Write(Output(), utf8)) return;
  const DWORD error = GetLastError();
  if (error == ERROR_SUCCESS || error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA ||
      error == ERROR_PIPE_NOT_CONNECTED || IsConsole(Output()))
    throw OutputClosed();
  throw Failure("the output cannot be written: Windows error " + std::to_string(error));
}

void PrintError(std::string_view utf8) {
  WipeProgress();
  Write(GetStdHandle(STD_ERROR_HANDLE), "varnel: " + std::string(utf8) + "\n");
}

ConsoleColours::ConsoleColours() {
  constexpr DWORD kObeyEscapes = 0x4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING, missing in old headers
  on_ = GetConsoleMode(Output(), &before_) && SetConsoleMode(Output(), before_ | kObeyEscapes);
}

ConsoleColours::~ConsoleColours() {
  if (on_) SetConsoleMode(Output(), before_);
}

LogLines::LogLines() {
  if (!g_output && !DuplicateHandle(GetCurrentProcess(), Output(), GetCurrentProcess(), &g_output, 0, FALSE,
                                    DUPLICATE_SAME_ACCESS))
    g_output = nullptr;
  KernelHandle from;
  KernelHandle to;
  if (!CreatePipe(from.Put(), to.Put(), nullptr, 0)) return;
  thread_.Reset(CreateThread(nullptr, 0, &PassOn, from.Get(), 0, nullptr));
  if (!thread_) return;
  static_cast<void>(from.Detach());  // the thread owns it now
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(to.Get()), 0);
  if (descriptor < 0) return;
  static_cast<void>(to.Detach());  // the descriptor owns it now
  _dup2(descriptor, _fileno(stdout));
  _close(descriptor);
}

LogLines::~LogLines() {
  std::fflush(stdout);
  _dup2(_fileno(stderr), _fileno(stdout));  // closes the pipe, so the thread ends
  if (thread_) WaitForSingleObject(thread_.Get(), INFINITE);
}

std::string ReadInput(std::size_t most) {
  const HANDLE stream = GetStdHandle(STD_INPUT_HANDLE);
  std::string input;
  char part[65'536];
  DWORD read = 0;
  while (ReadFile(stream, part, sizeof(part), &read, nullptr) && read > 0) {
    input.append(part, read);
    if (input.size() > most)
      throw Failure("standard input has more than " + std::to_string(most) + " bytes; send a smaller report");
  }
  if (input.starts_with("\xEF\xBB\xBF")) input.erase(0, 3);
  return input;
}

}  // namespace varnel::tool
