#include "trace/trace_records.h"

#include "console/console.h"
#include "logging/line_outputs.h"
#include "support/import_hook.h"
#include "trace/trace_slot.h"

#include <gtest/gtest.h>

#include <deque>

namespace varnel::tool {
namespace {

class TraceRecordsTest : public testing::Test {
 protected:
  void Head(std::uint32_t sequence, const std::string& text) {
    const TraceHeader header{.sequence = sequence, .textLength = static_cast<std::uint32_t>(text.size()) + 1};
    EXPECT_FALSE(records.Take({reinterpret_cast<const char*>(&header), sizeof(header)}));
  }
  TraceRecord Body(const std::string& text) { return records.Take({text.c_str(), text.size() + 1}).value(); }
  // Number and losses of a record that arrives whole.
  std::uint32_t MissingBefore(std::uint32_t sequence) {
    Head(sequence, "text");
    const TraceRecord record = Body("text");
    EXPECT_EQ(sequence, record.sequence);
    return record.missing;
  }

  TraceRecords records;
};

TEST_F(TraceRecordsTest, LineIsTakenApart) {
  const TraceRecord record = Body("2024-03-07 09:05:03.120 E Evt  812 net_if   Save: \xE9\tdone\n");
  EXPECT_EQ("2024-03-07 09:05:03.120|E|Evt|812|net_if|Save: \xC3\xA9\tdone\n|0",
            record.stamp + "|" + record.level + "|" + record.tag + "|" + record.thread + "|" +
                record.facility + "|" + record.text + "|" + std::to_string(record.sequence));
  EXPECT_EQ("Quorvel", Body("2024-03-07 09:05:03 X  -1 Quorvel  Saved").facility);
  EXPECT_EQ("of.a.long.name", Body("2024-03-07 09:05:03 X Evt 1 of.a.long.name Saved").facility);
}

TEST_F(TraceRecordsTest, WhatIsNoLineOfOursIsAllText) {
  for (const char* const text :
       {"", " ", "of another kind", "2024-03-07 09:05:03 XX Evt 812 net_if   Saved",
        "2024-03-07 09:05:03 X Evt 8l2 net_if   Saved", "2024-03-07 09:05:03 X Evt - net_if   Saved",
        "2024-03-07 09:05:03 X Evt 812  Saved", " 09:05:03 X Evt 812 net_if   Saved",
        "2024-03-07 09:05:03 X Evt 812 net_if"}) {
    const TraceRecord record = Body(text);
    EXPECT_EQ(std::string(text) + "?", record.text + record.level);
    EXPECT_EQ("", record.stamp + record.facility) << text;
  }
}

// Anybody may write to the mailslot.
TEST_F(TraceRecordsTest, LongMessageIsCutAndSaysSo) {
  for (const std::string start : {"", "2024-03-07 09:05:03.120 E Evt  812 net_if   "})
    for (const std::size_t more : {0u, 1u, 70'000u}) {
      SCOPED_TRACE(start + std::to_string(more));
      const TraceRecord record = Body(start + std::string(4095 - start.size() + more, '\x80'));
      EXPECT_TRUE(record.text.ends_with("\xE2\x82\xAC"));
      EXPECT_EQ(more, record.cut);
      EXPECT_EQ((4096 - (more == 0) - start.size()) * 3, record.text.size());
    }
}

TEST_F(TraceRecordsTest, HeadersAndTextsOfSeveralWritersAreMatched) {
  Head(7, "short");
  Head(9, "a longer text");
  EXPECT_EQ(9u, Body("a longer text").sequence);
  EXPECT_EQ(7u, Body("short").sequence);
  EXPECT_EQ(0u, Body("without a header").sequence);
}

TEST_F(TraceRecordsTest, EachProcessMissesItsOwnRecords) {
  EXPECT_EQ(0u, MissingBefore(57)) << "what was before we came is no loss";
  EXPECT_EQ(0u, MissingBefore(58));
  EXPECT_EQ(2u, MissingBefore(61));
  EXPECT_EQ(0u, MissingBefore(1)) << "another process";
  EXPECT_EQ(0u, MissingBefore(2));
  EXPECT_EQ(0u, MissingBefore(62));
  EXPECT_EQ(1u, MissingBefore(4));
  EXPECT_EQ(0u, MissingBefore(1'000'000)) << "and one that has been at it for long";
  EXPECT_EQ(0u, MissingBefore(63));
  EXPECT_EQ(10'000u, MissingBefore(10'064));
  EXPECT_EQ(0u, MissingBefore(20'066)) << "too far to be the same one";
}

// Stands in for a system that leaves a message in the mailslot when the buffer cannot hold it: Windows, and
// Wine 10.
struct StrictMailslot {
  static inline std::deque<DWORD> sizes;  // of the messages that wait

  static BOOL WINAPI Read(HANDLE, void*, DWORD size, DWORD* read, OVERLAPPED*) {
    SetLastError(sizes.empty() ? ERROR_SEM_TIMEOUT : ERROR_INSUFFICIENT_BUFFER);
    if (sizes.empty() || sizes.front() > size) return FALSE;
    *read = sizes.front();
    sizes.pop_front();
    return TRUE;
  }
  static BOOL WINAPI Look(HANDLE, DWORD*, DWORD* next, DWORD*, DWORD*) {
    *next = sizes.empty() ? MAILSLOT_NO_MESSAGE : sizes.front();
    return TRUE;
  }
};

TEST(TraceSlot, MessageOfAnyLengthIsReadAndLeavesTheWayFree) {
  TraceSlot slot;
  EXPECT_TRUE(IsTraceRead());
  EXPECT_THROW(TraceSlot(), Failure);
  const test::ImportHook read(GetModuleHandleW(nullptr), "ReadFile", &StrictMailslot::Read);
  const test::ImportHook look(GetModuleHandleW(nullptr), "GetMailslotInfo", &StrictMailslot::Look);
  for (const DWORD size : {5'000u, 1'000'000u, 3u, 0u, 70'000u}) {
    SCOPED_TRACE(size);
    StrictMailslot::sizes = {size, 7};
    EXPECT_EQ(size, slot.Next().value_or("none").size());
    EXPECT_EQ(7u, slot.Next().value_or("none").size());
    EXPECT_FALSE(slot.Next());
  }
}

}  // namespace
}  // namespace varnel::tool
