#include "console/streams_windows.h"

#include "console/console.h"
#include "console/streams.h"
#include "console/wide_text.h"

#include <windows.h>
#include <io.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace varnel::tool {
namespace {

// The handle of standard output after LogLines has redirected the C runtime's stdout; null before.
HANDLE g_output = nullptr;

HANDLE HandleOf(Stream stream) {
  if (stream == Stream::kErrors) return GetStdHandle(STD_ERROR_HANDLE);
  return g_output ? g_output : GetStdHandle(STD_OUTPUT_HANDLE);
}

bool WriteToFile(HANDLE file, std::string_view utf8) {
  constexpr std::size_t kMost = 1 << 20;
  DWORD written = 0;
  for (; !utf8.empty(); utf8.remove_prefix(written))
    if (!WriteFile(file, utf8.data(), static_cast<DWORD>(std::min(utf8.size(), kMost)), &written, nullptr) ||
        written == 0)
      return false;
  return true;
}

bool WriteToConsole(HANDLE console, std::string_view utf8) {
  constexpr std::size_t kMost = 16'384;  // a console accepts no more in one call
  const std::wstring text = ToWide(utf8);
  DWORD written = 0;
  for (std::size_t done = 0; done < text.size(); done += written)
    if (!WriteConsoleW(console, text.data() + done, static_cast<DWORD>(std::min(text.size() - done, kMost)),
                       &written, nullptr) ||
        written == 0)
      return false;
  return true;
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
      Write(Stream::kErrors, Printable(FromAnsi(line)) + "\n");
      line.clear();
    }
  }
  return 0;
}

}  // namespace

std::string DescribeError(SystemError error) {
  wchar_t text[256];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      error, 0, text, 256, nullptr);
  std::string line = ToUtf8({text, length});
  line.erase(std::find_if(line.rbegin(), line.rend(),
                          [](char last) { return static_cast<unsigned char>(last) > ' ' && last != '.'; })
                 .base(),
             line.end());
  return line + " (" + std::to_string(error) + ")";
}

bool IsTerminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

WriteResult Write(Stream stream, std::string_view utf8) {
  const HANDLE handle = HandleOf(stream);
  const bool isConsole = IsTerminal(stream);
  SetLastError(ERROR_SUCCESS);
  if (isConsole ? WriteToConsole(handle, utf8) : WriteToFile(handle, utf8)) return {true};
  const DWORD error = GetLastError();
  const bool isClosed = isConsole || error == ERROR_SUCCESS || error == ERROR_BROKEN_PIPE ||
                        error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
  return {false, isClosed, error};
}

ReadResult ReadStandardInput(char* bytes, std::size_t most) {
  DWORD read = 0;
  if (ReadFile(GetStdHandle(STD_INPUT_HANDLE), bytes, static_cast<DWORD>(most), &read, nullptr))
    return {read, 0};
  const DWORD error = GetLastError();
  return {0, error == ERROR_BROKEN_PIPE ? ERROR_SUCCESS : error};
}

void Pause(std::chrono::milliseconds time) {
  Sleep(static_cast<DWORD>(time.count()));
}

ConsoleColours::ConsoleColours() {
  constexpr DWORD kObeyEscapes = 0x4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING, missing in old headers
  const HANDLE output = HandleOf(Stream::kOutput);
  on_ = GetConsoleMode(output, &before_) && SetConsoleMode(output, before_ | kObeyEscapes);
}

ConsoleColours::~ConsoleColours() {
  if (on_) SetConsoleMode(HandleOf(Stream::kOutput), before_);
}

LogLines::LogLines() {
  if (!g_output && !DuplicateHandle(GetCurrentProcess(), HandleOf(Stream::kOutput), GetCurrentProcess(),
                                    &g_output, 0, FALSE, DUPLICATE_SAME_ACCESS))
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
