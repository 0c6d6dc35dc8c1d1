#include "xml/file_writer.h"

#include "support/temp_folder.h"
#include "xml/errors.h"

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
  std::wstring text;
  std::int32_t encoding;
  Transformation transform;
  AcceptTest accept;
  std::int32_t status;
  std::wstring error;
};

TEST(FileWriter, FailureBeforeTheWriteLeavesAnExistingFileAlone) {
  const Failure rows[] = {
      {L"x", 1, nullptr, nullptr, -1, L"unsupported encoding on write"},
      {L"", 4, nullptr, nullptr, -1,
       L"Couldn't convert to UTF-8. WideCharToMultiByte did not change the output string"},
      {L"x", 4, nullptr, Refuse, -1216, L""},
      {L"x", 4, Decline, nullptr, -1, L""},
  };
  const TempFolder folder;
  const std::wstring path = folder.File(L"existing");
  WriteBytes(path, "before");
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    std::uint32_t detail = kUntouched;
    EXPECT_EQ(row.status, SaveToFile(path, row.text, row.encoding, &detail, row.transform, row.accept));
    EXPECT_EQ(row.status == kSaveRefused ? kUntouched : 0, detail);
    EXPECT_EQ(row.error, GetLastErrorText());
    EXPECT_EQ("before", ReadBytes(path));
    try {
      WriteToFile(folder.File(L"new"), row.text, row.encoding, row.transform, row.accept);
      ADD_FAILURE() << "did not throw";
    } catch (const ReadWriteException& failure) {
      EXPECT_EQ(row.status, failure.code);
      EXPECT_EQ(0u, failure.detail);
    }
    EXPECT_FALSE(Exists(folder.File(L"new")));
  }
}

TEST(FileWriter, FileHoldsExactlyTheUtf8Bytes) {
  const std::pair<std::wstring, std::string> rows[] = {
      {std::wstring(100'000, L'z'), std::string(100'000, 'z')},
      {L"a\r\n\x00E9", "a\r\n\xC3\xA9"},
      {L"x\xD83Dy\xD83D\xDE00", "x\xEF\xBF\xBDy\xF0\x9F\x98\x80"},
      {std::wstring(L"cut\0here", 8), "cut"},
  };
  const TempFolder folder;
  const std::wstring path = folder.File(L"file");
  for (const auto& [text, bytes] : rows) {
    std::uint32_t detail = kUntouched;
    EXPECT_EQ(kSaved, SaveToFile(path, text, kUtf8Encoding, &detail, nullptr, nullptr));
    EXPECT_EQ(0u, detail);
    EXPECT_EQ(bytes, ReadBytes(path));
  }
  EXPECT_NO_THROW(WriteToFile(path, L"abc", kUtf8Encoding, Reverse, nullptr));
  EXPECT_EQ("cba", ReadBytes(path));
}

TEST(FileWriter, FailureOfTheFileItselfNamesTheReason) {
  const TempFolder folder;
  const auto save = [](const std::wstring& path) {
    return SaveToFile(path, L"x", kUtf8Encoding, nullptr, nullptr, nullptr);
  };
  EXPECT_EQ(kSaveFailed, save(folder.File(L"missing\\file")));
  const wchar_t* const first = GetLastErrorText();
  EXPECT_EQ(kSaveFailed, save(folder.Path()));
  EXPECT_STREQ(L"Couldn't open to write: Permission denied", GetLastErrorText());
  EXPECT_STREQ(L"Couldn't open to write: No such file or directory", first) << "a text never changes";
  EXPECT_EQ(kSaved, save(folder.File(L"file")));
  EXPECT_STREQ(L"", GetLastErrorText());
}

}  // namespace
}  // namespace AdvXMLParser
