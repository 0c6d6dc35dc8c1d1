#include "xml/file_writer.h"

#include "support/temp_folder.h"
#include "xml/errors.h"
#include "xml/last_error.h"

#include <gtest/gtest.h>

namespace AdvXMLParser {
namespace {

using varnel::test::Exists;
using varnel::test::ReadBytes;
using varnel::test::TempFolder;
using varnel::test::WriteBytes;

constexpr std::uint32_t kUntouched = 77;

bool Refuse(const std::string&) {
  return false;
}
bool Decline(const std::string&, std::string&) {
  return false;
}
bool Reverse(const std::string& utf8, std::string& output) {
  output.assign(utf8.rbegin(), utf8.rend());
  return true;
}

struct Failure {
  const char* name;
  std::wstring text;
  std::int32_t encoding;
  Transformation transform;
  AcceptTest accept;
  std::int32_t status;
  std::wstring error;
};

TEST(FileWriter, FailureBeforeTheWriteLeavesAnExistingFileAlone) {
  const Failure rows[] = {
      {"encoding", L"x", 1, nullptr, nullptr, -1, L"unsupported encoding on write"},
      {"empty", L"", 4, nullptr, nullptr, -1,
       L"Couldn't convert to UTF-8. WideCharToMultiByte did not change the output string"},
      {"refused", L"x", 4, nullptr, Refuse, -1216, L""},
      {"declined", L"x", 4, Decline, nullptr, -1, L""},
  };
  const TempFolder folder;
  const std::wstring path = folder.File(L"existing");
  WriteBytes(path, "before");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::uint32_t detail = kUntouched;
    EXPECT_EQ(row.status, SaveToFile(path, row.text, row.encoding, &detail, row.transform, row.accept));
    EXPECT_EQ(row.status == kSaveRefused ? kUntouched : 0, detail);
    EXPECT_EQ(row.error, GetLastErrorText());
    EXPECT_EQ("before", ReadBytes(path));
    EXPECT_EQ(row.status,
              SaveToFile(folder.File(L"new"), row.text, row.encoding, nullptr, row.transform, row.accept));
    EXPECT_FALSE(Exists(folder.File(L"new")));
  }
}

TEST(FileWriter, FileHoldsExactlyTheUtf8Bytes) {
  struct {
    std::wstring text;
    std::string bytes;
  } const rows[] = {
      {L"a", "a"},
      {L"\x00E9", "\xC3\xA9"},
      {L"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
      {L"x\xD83Dy", "x\xEF\xBF\xBDy"},
      {L"a\r\nb", "a\r\nb"},
      {std::wstring(L"cut\0here", 8), "cut"},
      {std::wstring(100'000, L'z'), std::string(100'000, 'z')},
  };
  const TempFolder folder;
  const std::wstring path = folder.File(L"file");
  for (const auto& row : rows) {
    std::uint32_t detail = kUntouched;
    EXPECT_EQ(kSaved, SaveToFile(path, row.text, kUtf8Encoding, &detail, nullptr, nullptr));
    EXPECT_EQ(0u, detail);
    EXPECT_EQ(row.bytes, ReadBytes(path));
  }
  EXPECT_EQ(kSaved, SaveToFile(path, L"abc", kUtf8Encoding, nullptr, Reverse, nullptr));
  EXPECT_EQ("cba", ReadBytes(path));
}

TEST(FileWriter, FailureOfTheFileItselfNamesTheReason) {
  const TempFolder folder;
  EXPECT_EQ(kSaveFailed,
            SaveToFile(folder.File(L"missing\\file"), L"x", kUtf8Encoding, nullptr, nullptr, nullptr));
  EXPECT_STREQ(L"Couldn't open to write: No such file or directory", GetLastErrorText());
  EXPECT_EQ(kSaveFailed, SaveToFile(L"Z:\\dev\\full", L"x", kUtf8Encoding, nullptr, nullptr, nullptr));
  EXPECT_STREQ(L"Couldn't write: No space left on device", GetLastErrorText());
  EXPECT_EQ(kSaved, SaveToFile(folder.File(L"file"), L"x", kUtf8Encoding, nullptr, nullptr, nullptr));
  EXPECT_STREQ(L"", GetLastErrorText());
}

TEST(FileWriter, ThrowingFormCarriesTheStatus) {
  const TempFolder folder;
  EXPECT_NO_THROW(WriteToFile(folder.File(L"file"), L"x", kUtf8Encoding, nullptr, nullptr));
  try {
    WriteToFile(folder.File(L"file"), L"x", kUtf8Encoding, nullptr, Refuse);
    FAIL() << "the refusal did not throw";
  } catch (const ReadWriteException& refusal) {
    EXPECT_EQ(-1216, refusal.code);
    EXPECT_EQ(0u, refusal.detail);
  }
  EXPECT_THROW(WriteToFile(folder.File(L"file"), L"", kUtf8Encoding, nullptr, nullptr), Exception);
}

}  // namespace
}  // namespace AdvXMLParser
