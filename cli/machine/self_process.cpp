#include "machine/self_process.h"

#include "base/handles.h"
#include "base/system_library.h"
#include "console/console.h"
#include "console/wide_text.h"

#include <string_view>

namespace varnel::tool {
namespace {

// Returns an argument quoted for CommandLineToArgvW.
std::wstring Quoted(std::wstring_view argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : argument) {
    if (unit == L'"')
      quoted.append(backslashes + 1, L'\\');  // doubles the backslashes before the quote and escapes it
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  return quoted.append(backslashes, L'\\') + L'"';
}

std::wstring ThisProgram() {
  std::wstring path(32'768, L'\0');
  if (!GetModulePath(nullptr, path)) throw Failure("Windows does not tell the path of varnel.exe");
  return path.c_str();
}

}  // namespace

std::optional<DWORD> RunThisProgram(const std::vector<std::string>& arguments, int seconds) {
  const std::wstring program = ThisProgram();
  std::wstring line = Quoted(program);
  for (const std::string& argument : arguments) line += L' ' + Quoted(ToWide(argument));
  STARTUPINFOW start{};
  start.cb = sizeof(start);
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION made{};
  if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                      &made))
    throw Failure("varnel.exe cannot start a second process: Windows error " +
                  std::to_string(GetLastError()));
  const KernelHandle process(made.hProcess);
  const KernelHandle thread(made.hThread);
  const bool ended = WaitForSingleObject(process.Get(), static_cast<DWORD>(seconds) * 1000) == WAIT_OBJECT_0;
  if (!ended) {
    TerminateProcess(process.Get(), 1);
    WaitForSingleObject(process.Get(), 5000);  // its files are closed after that
  }
  DWORD status = 0;
  if (!ended || !GetExitCodeProcess(process.Get(), &status)) return std::nullopt;
  return status;
}

}  // namespace varnel::tool
