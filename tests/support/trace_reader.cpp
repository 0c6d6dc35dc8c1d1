#include "support/trace_reader.h"

#include <gtest/gtest.h>

namespace varnel::test {

TraceReader::TraceReader() : mailslot_(CreateMailslotW(L"\\\\.\\mailslot\\TarvoTrace", 0, 0, nullptr)) {
  EXPECT_TRUE(mailslot_) << "another process owns the trace mailslot";
}

std::vector<std::string> TraceReader::ReadMessages() {
  std::vector<std::string> messages;
  for (;;) {
    DWORD next = MAILSLOT_NO_MESSAGE;
    if (!GetMailslotInfo(mailslot_.Get(), nullptr, &next, nullptr, nullptr) || next == MAILSLOT_NO_MESSAGE)
      return messages;
    std::string message(next, '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(mailslot_.Get(), message.data(), next, &read, nullptr));
    message.resize(read);
    messages.push_back(message);
  }
}

}  // namespace varnel::test
