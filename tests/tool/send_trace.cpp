// send_trace SIZE...   sends messages of so many bytes, none of them ASCII, to whoever reads the trace;
// returns how many were taken.

#include "base/handles.h"
#include "logging/line_outputs.h"

#include <cstdlib>
#include <string>

int main(int count, char** arguments) {
  const varnel::FileHandle mailslot(CreateFileW(varnel::kTraceMailslot, GENERIC_WRITE, FILE_SHARE_READ,
                                                nullptr, OPEN_EXISTING, 0, nullptr));
  int taken = 0;
  for (int i = 1; i < count; ++i) {
    const std::string message(std::strtoul(arguments[i], nullptr, 10), '\x80');
    DWORD written = 0;
    taken += WriteFile(mailslot.Get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
  }
  return taken;
}
