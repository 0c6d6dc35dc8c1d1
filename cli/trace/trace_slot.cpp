#include "trace/trace_slot.h"

#include "base/files.h"
#include "console/console.h"
#include "console/streams_windows.h"
#include "logging/line_outputs.h"
#include "trace/trace_records.h"

#include <sddl.h>

#include <algorithm>

namespace varnel::tool {
namespace {

constexpr DWORD kWait = 200;  // milliseconds
// WINE: accepts messages that are longer than the mailslot's limit; 8 cuts them to the reader's buffer.
constexpr std::size_t kBuffer = 65'536;

FileHandle MakeMailslot() {
  // Full access for SYSTEM, administrators and the owner. Write access for all others, packaged programs and
  // programs of low integrity included.
  constexpr wchar_t kRights[] =
      L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;S-1-3-4)(A;;GW;;;WD)(A;;GW;;;S-1-15-2-1)S:(ML;;NW;;;S-1-16-4096)";
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
  ConvertStringSecurityDescriptorToSecurityDescriptorW(kRights, SDDL_REVISION_1,
                                                       &attributes.lpSecurityDescriptor, nullptr);
  const LocalMemory<void> owner(attributes.lpSecurityDescriptor);
  FileHandle mailslot(
      CreateMailslotW(kTraceMailslot, static_cast<DWORD>(kLongestTraceMessage), kWait, &attributes));
  if (mailslot) return mailslot;
  throw Failure(GetLastError() == ERROR_ALREADY_EXISTS
                    ? "another program already reads the trace; end it first"
                    : "the trace mailslot cannot be created: Windows error " +
                          std::to_string(GetLastError()));
}

}  // namespace

TraceSlot::TraceSlot() : mailslot_(MakeMailslot()), buffer_(kBuffer, '\0') {}

std::optional<std::string_view> TraceSlot::Next() {
  DWORD read = 0;
  const auto readNext = [&] {
    return ReadFile(mailslot_.Get(), buffer_.data(), static_cast<DWORD>(buffer_.size()), &read, nullptr);
  };
  if (readNext()) return std::string_view(buffer_).substr(0, read);
  // A message that is longer than the buffer stays in the mailslot and blocks all others.
  DWORD size = 0;
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER ||
      !GetMailslotInfo(mailslot_.Get(), nullptr, &size, nullptr, nullptr) || size == MAILSLOT_NO_MESSAGE)
    return std::nullopt;
  buffer_.resize(std::max<std::size_t>(size, buffer_.size()));
  if (!readNext()) return std::nullopt;
  return std::string_view(buffer_).substr(0, read);
}

bool IsTraceRead() {
  return static_cast<bool>(FileHandle(CreateFileW(kTraceMailslot, GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                                  OPEN_EXISTING, kAnonymously, nullptr)));
}

}  // namespace varnel::tool
