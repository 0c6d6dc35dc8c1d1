#include "settings/agent_settings.h"

#include "settings/registry_text.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

#include <optional>

namespace varnel {
namespace {

using test::kFramework;
using test::RegistrySandbox;
using Bytes = std::vector<BYTE>;

class AgentSettings : public testing::Test {
 protected:
  // Absent bytes: the value does not exist, though its key may.
  void Set(const wchar_t* name, const std::optional<Bytes>& bytes, DWORD type = REG_BINARY) {
    if (bytes) registry.SetBytes(kFramework, name, type, *bytes);
  }

  RegistrySandbox registry;
};

TEST_F(AgentSettings, AgentIsManagedWhenFourBytesAreNotZero) {
  EXPECT_FALSE(IsAgentManaged());
  struct {
    Bytes bytes;
    bool managed;
  } const rows[] = {{{0, 0, 0, 0}, false}, {{1, 0, 0, 0}, true}, {{0, 0, 0, 1}, true},
                    {{7}, true},           {{}, false},          {{1, 0, 0, 0, 0}, false}};
  for (const auto& row : rows) {
    Set(L"AgentMode", row.bytes);
    EXPECT_EQ(row.managed, IsAgentManaged()) << row.bytes.size();
  }
}

TEST_F(AgentSettings, TriggerPolicyTakesNumbersAndDigits) {
  const Bytes one{1, 0, 0, 0};
  const Bytes textOne{'1', 0, 0, 0};
  const Bytes three{3, 0, 0, 0};
  struct {
    std::optional<Bytes> enable;
    std::optional<Bytes> threshold;
    std::int32_t severity;
    std::uint32_t trigger;
  } const rows[] = {
      {one, three, 3, 1},
      {one, three, 2, 0},
      {textOne, three, 3, 1},
      {one, Bytes{'3', 0, 0, 0}, 3, 1},
      {one, Bytes{'3', 0, 0, 0}, 2, 0},
      {Bytes{48, 0, 0, 0}, three, 9, 0},
      {Bytes{0, 0, 0, 0}, three, 9, 0},
      {Bytes{1, 0, 0, 0, 0}, three, 9, 0},
      {one, Bytes{1, 2, 3, 4, 5}, 9, 0},
      {one, Bytes{0xFF, 0xFF, 0xFF, 0xFF}, -1, 1},
      {one, Bytes{0xFF, 0xFF, 0xFF, 0xFF}, -30, 0},
      {one, Bytes{}, 5, 1},
      {one, Bytes{}, 4, 0},
      {Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0, 0, 0, 0}, -1, 0},
  };
  for (const auto& row : rows) {
    Set(L"AgPlcyEnableEventTrigger", row.enable);
    Set(L"AgPlcyEventTriggerThreshold", row.threshold);
    std::uint32_t trigger = 77;
    EXPECT_EQ(0, ReadEventTriggerPolicy(row.severity, &trigger));
    EXPECT_EQ(row.trigger, trigger) << &row - rows;
  }
  registry.Delete(kFramework, L"AgPlcyEventTriggerThreshold");
  std::uint32_t trigger = 77;
  ReadEventTriggerPolicy(100, &trigger);
  EXPECT_EQ(0u, trigger);
}

TEST_F(AgentSettings, ReportMustBeShorterThanTheLimit) {
  std::string document(8'912'895, 'x');
  EXPECT_TRUE(EventSizeWithinLimit(document));
  document += 'x';
  EXPECT_FALSE(EventSizeWithinLimit(document));
  Set(L"Brenn Size", Bytes{10, 0, 0, 0});
  EXPECT_TRUE(EventSizeWithinLimit(std::string(9, 'x')));
  EXPECT_FALSE(EventSizeWithinLimit(std::string(10, 'x')));
  Set(L"Brenn Size", Bytes{0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_TRUE(EventSizeWithinLimit(document));
  Set(L"Brenn Size", Bytes{10, 0, 0, 0, 0});
  EXPECT_FALSE(EventSizeWithinLimit(document));
  EXPECT_TRUE(EventSizeWithinLimit("x"));
}

TEST_F(AgentSettings, AgentGuidIsCutAndHasADefault) {
  EXPECT_EQ(L"{00000000-0000-0000-0000-000000000000}", ReadAgentGuid());
  registry.SetText(kFramework, L"AgentGUID", L"{1}");
  EXPECT_EQ(L"{1}", ReadAgentGuid());
  registry.SetText(kFramework, L"AgentGUID", std::wstring(3000, L'g'));
  EXPECT_EQ(std::wstring(500, L'g'), ReadAgentGuid());
}

TEST_F(AgentSettings, PlaceholderAddressesAreNoAddresses) {
  EXPECT_EQ(L"", ReadAgentIPAddress());
  const std::wstring longest(259, L'1');
  struct {
    std::wstring text;
    std::wstring address;
  } const rows[] = {{L"10.0.0.5", L"10.0.0.5"}, {L"N/A", L""},        {L"n/a", L"n/a"}, {L"", L""},
                    {longest, longest},         {longest + L"1", L""}};
  for (const auto& row : rows) {
    registry.SetText(kFramework, L"IPAddress", row.text);
    EXPECT_EQ(row.address, ReadAgentIPAddress());
  }
  Set(L"IPAddress", Bytes(520, 'x'));
  EXPECT_EQ(L"", ReadAgentIPAddress());
}

TEST_F(AgentSettings, TextsAreReadWholeWhateverTheirLength) {
  for (const std::size_t length :
       std::initializer_list<std::size_t>{0, 1, 128, 129, 130, 259, 260, 261, 1000, 3999}) {
    const std::wstring text(length, L't');
    registry.SetText(kFramework, L"Data Path", text);
    wchar_t buffer[4000];
    std::fill(std::begin(buffer), std::end(buffer), L'#');
    ASSERT_TRUE(ReadRegistryString(buffer, 4000, kFrameworkKey, L"Data Path")) << length;
    EXPECT_EQ(text, buffer);
    EXPECT_EQ(L'\0', buffer[3999]) << "padded with zeros";
  }
}

TEST_F(AgentSettings, UnterminatedAndOddTextsEndWhereTheirBytesEnd) {
  for (const std::size_t size : std::initializer_list<std::size_t>{1, 3, 259, 260, 261, 519, 521}) {
    Set(L"Data Path", Bytes(size, 'A'));
    wchar_t buffer[1000] = {};
    ASSERT_TRUE(ReadRegistryString(buffer, 1000, kFrameworkKey, L"Data Path")) << size;
    EXPECT_EQ((size + 1) / 2, std::wcslen(buffer)) << size;
  }
}

TEST_F(AgentSettings, TextThatFillsItsBufferCountsAsUnreadable) {
  wchar_t buffer[5];
  registry.SetText(kFramework, L"Data Path", L"1234");
  EXPECT_TRUE(ReadWholeRegistryString(buffer, kFrameworkKey, L"Data Path"));
  registry.SetText(kFramework, L"Data Path", L"12345");
  EXPECT_FALSE(ReadWholeRegistryString(buffer, kFrameworkKey, L"Data Path"));
  EXPECT_EQ(L'5', buffer[4]);
}

TEST_F(AgentSettings, WhatCannotBeReadLeavesTheDestinationAlone) {
  wchar_t buffer[4] = L"abc";
  EXPECT_FALSE(ReadRegistryString(buffer, 4, kFrameworkKey, L"Data Path"));
  registry.SetText(kFramework, L"Other", L"x");
  EXPECT_FALSE(ReadRegistryString(buffer, 4, kFrameworkKey, L"Data Path"));
  EXPECT_FALSE(ReadRegistryString(buffer, 4, kFrameworkKey, nullptr));
  EXPECT_FALSE(ReadRegistryString(nullptr, 4, kFrameworkKey, L"Other"));
  EXPECT_STREQ(L"abc", buffer);
}

}  // namespace
}  // namespace varnel
