#include "support/trace_reader.h"

#include <gtest/gtest.h>

#include <cstring>

namespace varnel::test {

TraceReader::TraceReader() : mailslot_(CreateMailslotW(L"\\\\.\\mailslot\\TarvoTrace", 0, 0, nullptr)) {
  EXPECT_TRUE(mailslot_) << "another process owns the trace mailslot";
}

std::vector<TraceMessage> TraceReader::ReadMessages() {
  std::vector<TraceMessage> messages;
  for (;;) {
    DWORD next = MAILSLOT_NO_MESSAGE;
    if (!GetMailslotInfo(mailslot_.Get(), nullptr, &next, nullptr, nullptr) || next == MAILSLOT_NO_MESSAGE)
      return messages;
    TraceMessage message(next, '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(mailslot_.Get(), message.data(), next, &read, nullptr));
    message.resize(read);
    messages.push_back(message);
  }
}

std::vector<TraceRecord> TraceReader::ReadRecords() {
  const auto messages = ReadMessages();
  EXPECT_EQ(0u, messages.size() % 2);
  std::vector<TraceRecord> records;
  for (std::size_t i = 0; i + 1 < messages.size(); i += 2) {
    TraceRecord record{{}, messages[i + 1]};
    EXPECT_EQ(sizeof(record.header), messages[i].size());
    std::memcpy(record.header, messages[i].data(), std::min(sizeof(record.header), messages[i].size()));
    records.push_back(record);
  }
  return records;
}

}  // namespace varnel::test
