#include "base/handles.h"
#include "check.h"
#include "settings/agent_settings.h"
#include "settings/disabled_event_list.h"
#include "settings/event_filter.h"
#include "settings/registry_text.h"
#include "support/import_hook.h"
#include "support/registry_sandbox.h"
#include "support/temp_folder.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <random>

namespace varnel {
namespace {

using namespace test;
using Bytes = std::vector<BYTE>;
constexpr wchar_t kKey[] = L"SOFTWARE\\Some Key";

class Settings : public testing::Test {
  RegistrySandbox registry_;
};

// "none" for no value at all, "empty" for one without bytes.
void Set(const wchar_t* name, const std::string& hex) {
  Bytes bytes;
  for (const auto& byte : RegexMatches(hex, "[0-9A-F]{2}"))
    bytes.push_back(static_cast<BYTE>(std::stoi(byte[0], nullptr, 16)));
  SetBytes(kFramework, name, REG_BINARY, bytes);
  if (hex == "none") DeleteValue(kFramework, name);
}

TEST_F(Settings, FollowTheRules) {
  EXPECT_FALSE(IsAgentManaged()) << "without the key";
  EXPECT_TRUE(EventSizeWithinLimit(1));
  for (const Row& row : Rules("managed")) {
    Set(L"AgentMode", row[0]);
    EXPECT_EQ(row[1] == "1", IsAgentManaged()) << row[0];
  }
  for (const Row& row : Rules("trigger")) {
    Set(L"AgPlcyEnableEventTrigger", row[0]);
    Set(L"AgPlcyEventTriggerThreshold", row[1]);
    std::uint32_t trigger = 77;
    EXPECT_EQ(0, ReadEventTriggerPolicy(std::stoi(row[2]), &trigger));
    EXPECT_EQ(row[3], std::to_string(trigger)) << testing::PrintToString(row);
  }
  for (const Row& row : Rules("size limit")) {
    Set(L"Brenn Size", row[0]);
    const std::uint64_t refused = std::stoul(row[1]);
    EXPECT_FALSE(EventSizeWithinLimit(refused)) << row[0];
    EXPECT_TRUE(EventSizeWithinLimit(refused - 1)) << row[0];
    EXPECT_FALSE(EventSizeWithinLimit(refused + 0x1'0000'0000)) << row[0];
  }
  EXPECT_EQ(L"", ReadAgentIPAddress());
  auto addresses = Rules("address");
  addresses.push_back({std::string(259, '1'), std::string(259, '1')});
  addresses.push_back({std::string(260, '1'), ""});
  addresses.push_back({"1.2" + std::string(257, '\0'), "1.2"});  // its end need not be the buffer's
  for (const Row& row : addresses) {
    std::wstring text = Wide(row[0]);
    if (text.size() < 260) text += L'\0';
    const auto* const begin = reinterpret_cast<const BYTE*>(text.data());
    SetBytes(kFramework, L"IPAddress", REG_SZ, {begin, begin + text.size() * 2});
    EXPECT_EQ(row[1], Narrow(ReadAgentIPAddress())) << row[0];
  }
  EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", ReadAgentGuid());
  SetText(kFramework, L"AgentGUID", std::wstring(3000, L'g'));
  EXPECT_EQ(std::wstring(500, L'g'), ReadAgentGuid());
}

// Bytes of a value, as the reader of texts gives them: up to the first zero, a lone last byte as a character.
TEST_F(Settings, TextsAreReadWholeAndThoseThatFillTheirBufferNotAtAll) {
  wchar_t buffer[4000];
  for (const unsigned size : {0u, 1u, 2u, 3u, 258u, 259u, 260u, 261u, 519u, 520u, 521u, 7998u}) {
    for (const unsigned zeros : {0u, 4u}) {
      Bytes bytes(size, 'A');
      bytes.insert(bytes.end(), zeros, 0);
      SetBytes(kKey, L"Name", REG_BINARY, bytes);
      std::fill(std::begin(buffer), std::end(buffer), L'#');
      ASSERT_TRUE(ReadRegistryString(buffer, 4000, kKey, L"Name")) << size;
      EXPECT_EQ((size + 1) / 2, std::wcslen(buffer)) << size;
      EXPECT_EQ(L'\0', buffer[3999]) << "padded with zeros";
    }
  }
  wchar_t small[5] = L"abcd";
  SetText(kKey, L"Other", L"1234");
  EXPECT_FALSE(ReadRegistryString(small, 5, kKey, L"Missing"));
  EXPECT_FALSE(ReadRegistryString(small, 5, L"SOFTWARE\\Missing", L"Other"));
  EXPECT_STREQ(L"abcd", small);
  EXPECT_TRUE(ReadWholeRegistryString(small, kKey, L"Other"));
  SetText(kKey, L"Other", L"12345");
  EXPECT_FALSE(ReadWholeRegistryString(small, kKey, L"Other"));
  EXPECT_EQ(L'5', small[4]);
}

TEST(DisabledEventList, FollowsTheRulesAndItsModel) {
  for (const Row& row : Rules("disabled events"))
    EXPECT_EQ(row[2] == "1",
              ListsAsDisabled(row[0].c_str(), static_cast<std::uint32_t>(row[0].size()), std::stoi(row[1])))
        << row[0] << " and " << row[1];
  std::minstd_rand random(20240307);
  for (int i = 0; i < 2000; ++i) {
    std::string text = std::string(2, static_cast<char>(random())) + "DisabledEvent";
    for (auto left = random() % 60; left > 0; --left) text += "0123456789;;-\r\n \xFF"[random() % 17];
    ASSERT_NO_THROW(fuzz::CheckFilter({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}))
        << text;
  }
}

// A filter file of any size, and the bytes that are allocated for it.
struct FilterSize {
  static inline DWORD size = 0;
  static inline std::size_t allocated = 0;

  static DWORD WINAPI Get(HANDLE, DWORD*) { return size; }
  static void* Allocate(std::size_t count, std::size_t size) {
    allocated = count * size;
    return nullptr;
  }
};

TEST(EventFilter, SizeOfTheFileMustFitInto32BitsWithItsTwoZeros) {
  const TempFolder folder;
  WriteBytes(folder.File(L"filter"), "x");
  const ImportHook hooks[] = {{GetModuleHandleW(nullptr), "GetFileSize", &FilterSize::Get},
                              {GetModuleHandleW(nullptr), "calloc", &FilterSize::Allocate}};
  const std::pair<DWORD, std::size_t> rows[] = {
      {0, 0}, {1, 3}, {0xFFFFFFFD, 0xFFFFFFFF}, {0xFFFFFFFE, 0}, {0xFFFFFFFF, 0}};
  for (const auto& [size, allocated] : rows) {
    FilterSize::size = size;
    FilterSize::allocated = 0;
    std::uint32_t read = 0;
    EXPECT_EQ(nullptr, ReadWholeFile(Narrow(folder.File(L"filter")).c_str(), &read));
    EXPECT_EQ(allocated, FilterSize::allocated) << size;
  }
}

TEST_F(Settings, EveryFailureOfTheFilterLetsTheEventThrough) {
  const TempFolder folder;
  const std::wstring path = folder.MakeFolder(L"data") + L"\\EvtFiltr.ini";
  WriteBytes(path, "\xFF\xFE\x80 DisabledEvent\xE9=5;\xFF");
  EXPECT_FALSE(IsEventDisabled(5)) << "no agent folder is set";
  for (const std::wstring& dataPath : {folder.Path(), folder.Path() + L"\\"}) {
    SetText(kFramework, L"Data Path", dataPath);
    EXPECT_TRUE(IsEventDisabled(5)) << Narrow(dataPath);
    EXPECT_FALSE(IsEventDisabled(6)) << Narrow(dataPath);
  }
  {
    const FileHandle writer(
        CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(writer);
    EXPECT_FALSE(IsEventDisabled(5)) << "another process writes it";
  }
  for (const std::string& content : {std::string("-\0DisabledEvent=5;", 18), std::string()}) {
    WriteBytes(path, content);
    EXPECT_FALSE(IsEventDisabled(5)) << "the text ends at its first zero";
  }
  for (const unsigned length : {1020u, 1021u, 1022u, 1023u, 1039u, 1040u, 5000u}) {
    SetText(kFramework, L"Data Path", std::wstring(length, L'x'));
    EXPECT_FALSE(IsEventDisabled(5)) << length;
  }
}

}  // namespace
}  // namespace varnel
