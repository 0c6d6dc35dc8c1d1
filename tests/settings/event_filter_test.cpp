#include "settings/event_filter.h"

#include "base/windows_handles.h"
#include "settings/disabled_event_list.h"
#include "support/registry_sandbox.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <limits>

namespace varnel {
namespace {

struct FilterRow {
  const char* content;
  std::int32_t id;
  bool disabled;
};

TEST(DisabledEventList, MatchesExactEntriesOnly) {
  const FilterRow rows[] = {
      {"DisabledEvent=1001;1002;", 1002, true},
      {"DisabledEvent=1001;1002;", 100, false},
      {"DisabledEvent=1001;1002;", 10021, false},
      {"DisabledEvent=1001;1002", 1002, true},
      {"DisabledEvent=1001;1002\r\n[Next]", 1001, true},
      {"DisabledEvent=1001;1002\r\n[Next]", 1002, false},
      {"DisabledEvent=1001; 1002;", 1002, false},
      {"DisabledEvent=1001 ;1002;", 1001, false},
      {"DisabledEvent=01001;", 1001, false},
      {"x\r\n[DisabledEvent]\r\n = 7;8;", 7, true},
      {"DisabledEvent=-5;", 5, true},
      {"DisabledEvent=-5;", -5, false},
      {"DisabledEvent=1;-5;", -5, true},
      {"DisabledEvent=1;-2147483648;", std::numeric_limits<std::int32_t>::min(), true},
      {"DisabledEvent=;;;9;", 9, true},
      {"DisabledEvent=1234567890123451;", 1, true},
      {"DisabledEvent=1234567890123457;8;", 7, true},
      {"DisabledEvent=1;DisabledEvent=2;", 2, false},
      {"disabledevent=1;", 1, false},
      {"DisabledEvent", 1, false},
      {"", 1, false},
  };
  for (const auto& row : rows) {
    const auto size = static_cast<std::uint32_t>(std::char_traits<char>::length(row.content));
    EXPECT_EQ(row.disabled, ListsAsDisabled(row.content, size, row.id)) << row.content << " and " << row.id;
  }
}

TEST(DisabledEventList, TextThatWasNotReadWholeIsNotSkippedInto) {
  EXPECT_FALSE(ListsAsDisabled("DisabledEvent=1;2;", 0, 1));
  EXPECT_TRUE(ListsAsDisabled("DisabledEvent=1;2;", 0, 2));
}

class EventFilter : public testing::Test {
 protected:
  EventFilter() { folder.MakeFolder(L"data"); }

  void SetDataPath(const std::wstring& path) { registry.SetText(test::kFramework, L"Data Path", path); }
  void WriteFilter(const std::string& content) {
    test::WriteBytes(folder.File(L"data\\EvtFiltr.ini"), content);
  }

  test::RegistrySandbox registry;
  test::TempFolder folder;
};

TEST_F(EventFilter, IsFoundBelowTheAgentsFolderWithOrWithoutBackslash) {
  WriteFilter("DisabledEvent=5;");
  EXPECT_FALSE(IsEventDisabled(5)) << "no agent folder is set";
  for (const std::wstring& path : {folder.Path(), folder.Path() + L"\\"}) {
    SetDataPath(path);
    EXPECT_TRUE(IsEventDisabled(5));
    EXPECT_FALSE(IsEventDisabled(6));
  }
}

TEST_F(EventFilter, EveryFailureLetsTheEventThrough) {
  SetDataPath(folder.Path());
  EXPECT_FALSE(IsEventDisabled(5)) << "no file";
  WriteFilter("");
  EXPECT_FALSE(IsEventDisabled(5)) << "empty file";
  WriteFilter("DisabledEvent=5;");
  {
    const FileHandle writer(CreateFileW(folder.File(L"data\\EvtFiltr.ini").c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(writer);
    EXPECT_FALSE(IsEventDisabled(5)) << "another process writes it";
  }
  EXPECT_TRUE(IsEventDisabled(5));
  for (const std::size_t length :
       std::initializer_list<std::size_t>{1020, 1021, 1022, 1023, 1039, 1040, 2000, 3999, 4000, 5000}) {
    SetDataPath(std::wstring(length, L'x'));
    EXPECT_FALSE(IsEventDisabled(5)) << length;
  }
}

TEST_F(EventFilter, BytesThatAreNotTextDoNoHarm) {
  SetDataPath(folder.Path());
  WriteFilter(std::string("\xFF\xFE\0DisabledEvent=5;", 19));
  EXPECT_FALSE(IsEventDisabled(5)) << "the text ends at its first zero";
  WriteFilter("\xFF\xFE\x80 DisabledEvent\xE9=5;\xFF");
  EXPECT_TRUE(IsEventDisabled(5));
}

}  // namespace
}  // namespace varnel
