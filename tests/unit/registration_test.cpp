#include "base/handles.h"
#include "com/registrar.h"
#include "runtime/load_restriction.h"
#include "support/registry_sandbox.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

const ScriptVariables kVariables = {{"MODULE", L"C:\\it's here\\{x}.dll"}, {"CLSID", L"{1-2}"}};

TEST(RegistrationScript, IsRefusedWhenAnyPartIsNotUnderstood) {
  const auto nested = [](int depth) {
    std::string script = "HKCR ";
    for (int i = 0; i < depth; ++i) script += "{ k ";
    for (int i = 0; i < depth; ++i) script += "} ";
    return script;
  };
  auto rows = test::Rules("bad script");
  rows.insert(rows.end(), {{""}, {"HKCR { k = s 'a\x01' }"}, {nested(17)}});
  for (const auto& row : rows) EXPECT_FALSE(ParseRegistrationScript(row[0], kVariables)) << row[0];
  EXPECT_TRUE(ParseRegistrationScript(nested(16), kVariables)) << "as deep as may be";
}

class Registrar : public testing::Test {
 protected:
  Registrar() { Make(L""); }
  ~Registrar() override { RegDeleteTreeW(HKEY_CURRENT_USER, kRoot); }

  void Make(const wchar_t* path) {
    EXPECT_EQ(ERROR_SUCCESS,
              RegCreateKeyExW(*path ? root.Get() : HKEY_CURRENT_USER, *path ? path : kRoot, 0, nullptr, 0,
                              KEY_ALL_ACCESS, nullptr, (*path ? made : root).Put(), nullptr));
  }
  // The keys below the root, in one line.
  std::string Keys() const {
    return test::RegexReplaced(test::ExportKey(HKEY_CURRENT_USER, kRoot), "^[^\n]*\n|\n(?= )|\n$", "");
  }
  static std::vector<ScriptKey> Script(const std::string& body) {
    return ParseRegistrationScript("HKCR\n{ " + body + " }\n", kVariables).value();
  }

  static constexpr wchar_t kRoot[] = L"Software\\VarnelRegistrarTest";
  RegistryKey root;
  RegistryKey made;
};

TEST_F(Registrar, RemovesWhatItWroteAndNothingElse) {
  const auto keys = Script(
      "Plain = s 'it''s'\n{\n\tval Model = s '%MODULE%'\n\t'Em pty'\n} Shared { Child } NoRemove Kept { "
      "ForceRemove "
      "%CLSID% { Deep } }");
  Make(L"Kept\\{1-2}\\Old");
  ASSERT_EQ(S_OK, RegisterKeys(root.Get(), keys));
  ASSERT_EQ(S_OK, RegisterKeys(root.Get(), keys));
  EXPECT_EQ(
      "  Kept    {1-2}      Deep  Plain 'it's' Model:'C:\\it's here\\{x}.dll'    Em pty  Shared    Child",
      Keys());
  Make(L"Shared\\Foreign");
  Make(L"Kept\\{1-2}\\Foreign");
  EXPECT_EQ(S_OK, UnregisterKeys(root.Get(), keys));
  EXPECT_EQ("  Kept  Shared    Foreign", Keys());
  EXPECT_EQ(S_OK, UnregisterKeys(root.Get(), keys));
}

TEST_F(Registrar, ScriptThatFailsHalfWayIsUndoneAndTheFirstFailureReturned) {
  // A key's name may have 255 characters.
  const std::string tooLong(300, 'x');
  EXPECT_TRUE(FAILED(RegisterKeys(root.Get(), Script("First { Child } Second { " + tooLong + " } Third"))));
  EXPECT_EQ("", Keys());
  ASSERT_EQ(S_OK, RegisterKeys(root.Get(), Script("First { Child } Last")));
  const auto bad = Script("First { " + tooLong + " Child } ForceRemove '" + tooLong + "\\x' Last");
  const HRESULT result = UnregisterKeys(root.Get(), bad);
  EXPECT_TRUE(FAILED(result));
  EXPECT_EQ(UnregisterKeys(root.Get(), Script(tooLong)), result);
  EXPECT_EQ("", Keys()) << "what can be removed is removed all the same";
}

TEST(LoadRestriction, ConcernsTheOldSystemWithAnUnmanagedAgentOnly) {
  for (const auto& row : test::Rules("load")) {
    const HostVersion version{static_cast<std::uint32_t>(std::stoul(row[0])),
                              static_cast<std::uint32_t>(std::stoul(row[1]))};
    EXPECT_EQ(row[4] == "1", MayLoad(version, row[2] == "1", test::Wide(row[3]))) << row[3];
  }
}

}  // namespace
}  // namespace varnel
