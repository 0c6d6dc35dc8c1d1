#include "trace_records.h"

#include "logging/line_outputs.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ("", record.stamp + record.facility);
  }
}

// Anybody may write to the mailslot.
TEST_F(TraceRecordsTest, LongestMessageIsTaken) {
  for (const std::string start : {"", "2024-03-07 09:05:03.120 E Evt  812 net_if   "}) {
    const std::string filler(4095 - start.size(), '\x80');
    EXPECT_TRUE(Body(start + filler).text.ends_with("\xE2\x82\xAC"));
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
}

}  // namespace
}  // namespace varnel::tool
