#include "xml/file_writer.h"

#include "support/import_hook.h"
#include "support/temp_folder.h"
#include "support/text.h"
#include "xml/errors.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <cwchar>
#include <memory>
#include <set>
#include <tuple>

namespace AdvXMLParser {
namespace {

using namespace varnel::test;

bool Refuse(std::string_view) {
  return false;
}
bool Decline(std::string_view, std::string&) {
  return false;
}
bool Reverse(std::string_view utf8, std::string& output) {
  output.assign(utf8.rbegin(), utf8.rend());
  return true;
}

class FileWriter : public testing::Test {
 protected:
  // The reason, or nothing for success; through both forms of saving.
  static std::wstring Save(const std::wstring& path, const std::wstring& text = L"x") {
    const std::int32_t status = SaveToFile(path, text, kUtf8Encoding, nullptr, nullptr, nullptr);
    const std::wstring reason = GetLastErrorText();
    EXPECT_EQ(reason.empty() ? kSaved : kSaveFailed, status);
    return reason;
  }

  const TempFolder folder;
  const std::wstring path = folder.File(L"file");
};

TEST_F(FileWriter, FailureBeforeTheWriteLeavesAnExistingFileAlone) {
  const struct {
    std::wstring text;
    std::int32_t encoding;
    Transformation transform;
    AcceptTest accept;
    std::int32_t status;
    std::wstring error;
  } rows[] = {
      {L"x", 1, nullptr, nullptr, -1, L"unsupported encoding on write"},
      {L"", 4, nullptr, nullptr, -1,
       L"Couldn't convert to UTF-8. WideCharToMultiByte did not change the output string"},
      {L"x", 4, nullptr, Refuse, -1216, L""},
      {L"x", 4, Decline, nullptr, -1, L""},
  };
  WriteBytes(path, "before");
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    std::uint32_t detail = 77;
    EXPECT_EQ(row.status, SaveToFile(path, row.text, row.encoding, &detail, row.transform, row.accept));
    EXPECT_EQ(row.status == kSaveRefused ? 77u : 0u, detail);
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

TEST_F(FileWriter, FileHoldsExactlyTheUtf8Bytes) {
  const std::pair<std::wstring, std::string> rows[] = {
      {std::wstring(100'000, L'z'), std::string(100'000, 'z')},
      {L"a\r\n\x00E9", "a\r\n\xC3\xA9"},
      {std::wstring(L"cut\0here", 8), "cut"}};
  for (const auto& [text, bytes] : rows) {
    EXPECT_EQ(L"", Save(path, text));
    EXPECT_EQ(bytes, ReadBytes(path));
  }
  EXPECT_NO_THROW(WriteToFile(path, L"abc", kUtf8Encoding, Reverse, nullptr));
  EXPECT_EQ("cba", ReadBytes(path));
}

// The system's conversion, of which the n-th call answers something else.
struct Conversion {
  static inline std::unique_ptr<ImportHook> hook;
  static inline int untilAnswer = 0;
  static inline int answer = 0;

  static int WINAPI Convert(UINT page, DWORD flags, const wchar_t* text, int units, char* to, int bytes,
                            const char* other, BOOL* used) {
    const auto original = reinterpret_cast<decltype(&Convert)>(hook->Original());
    return --untilAnswer == 0 ? answer : original(page, flags, text, units, to, bytes, other, used);
  }
};

TEST_F(FileWriter, FailureOfTheConversionNamesTheReason) {
  Conversion::hook =
      std::make_unique<ImportHook>(GetModuleHandleW(nullptr), "WideCharToMultiByte", &Conversion::Convert);
  const std::wstring reason = L"Couldn't convert to UTF-8";
  for (const auto& [call, answer, text] :
       {std::tuple(1, 0, reason),
        {2, 0, reason + L". WideCharToMultiByte returned 0"},
        {2, -1, reason + L". WideCharToMultiByte returned negative number"}}) {
    Conversion::untilAnswer = call;
    Conversion::answer = answer;
    EXPECT_EQ(text, Save(path)) << "call " << call << " returns " << answer;
  }
  Conversion::hook.reset();
}

TEST_F(FileWriter, FailureOfTheFileItselfNamesTheReason) {
  EXPECT_EQ(L"Couldn't open to write: No such file or directory", Save(folder.File(L"missing\\file")));
  const wchar_t* const first = GetLastErrorText();
  EXPECT_EQ(L"Couldn't open to write: Permission denied", Save(folder.Path()));
  EXPECT_STREQ(L"Couldn't open to write: No such file or directory", first) << "a text never changes";
  EXPECT_EQ(L"", Save(path));
}

// The texts are composed once for each message and number. A text without a place in their table is the
// message alone.
TEST_F(FileWriter, ReasonIsTheCLibrarysUntilTheTableIsFull) {
  std::set<std::wstring> texts;
  for (const Row& row : Rules("errno")) {
    SetOpenError(std::stoul(row[0]));
    EXPECT_EQ(row[0], std::to_string(GetLastError()));
    EXPECT_EQ(std::string("Couldn't open to write: ") + std::strerror(std::stoi(row[1])),
              Narrow(GetLastErrorText()))
        << row[0];
    texts.insert(GetLastErrorText());
  }
  static std::array<wchar_t[8], 40> messages;  // each at an address of its own
  for (auto& message : messages) {
    std::swprintf(message, std::size(message), L"text %zu", &message - messages.data());
    SetErrorOfSystem(message, ERROR_FILE_NOT_FOUND);
    if (GetLastErrorText() != message) texts.insert(GetLastErrorText());
  }
  EXPECT_EQ(32u, texts.size());
}

// An attacker puts a link under the file's name, so that a process with more rights writes to the link's
// target.
TEST_F(FileWriter, FileOfAnotherNameIsNotTouchedAndNoChildProcessGetsTheHandle) {
  WriteBytes(folder.File(L"victim"), "precious");
  ASSERT_TRUE(CreateHardLinkW(path.c_str(), folder.File(L"victim").c_str(), nullptr));
  EXPECT_EQ(L"Couldn't open to write: Permission denied", Save(path));
  EXPECT_EQ("precious", ReadBytes(path));
  DWORD flags = HANDLE_FLAG_INHERIT;
  EXPECT_TRUE(GetHandleInformation(OpenForText(folder.File(L"new")).Get(), &flags));
  EXPECT_EQ(0u, flags & HANDLE_FLAG_INHERIT);
}

}  // namespace
}  // namespace AdvXMLParser
