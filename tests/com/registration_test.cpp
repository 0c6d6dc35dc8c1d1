#include "base/registry.h"
#include "com/component_categories.h"
#include "com/load_restriction.h"
#include "com/registrar.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

const ScriptVariables kVariables = {{"MODULE", L"C:\\it's here\\x.dll"}, {"CLSID", L"{1-2}"}};

TEST(RegistrationScript, IsReadWithNestedKeysValuesAndVariables) {
  const auto keys = ParseRegistrationScript(
      "HKCR\n{\n\tA.1 = s 'it''s'\n  {\n    CLSID = s '%CLSID%'\n  }\n"
      "  NoRemove CLSID { ForceRemove %CLSID% { Server = s '%MODULE%' { val Model = s 'Free' } Empty } } }\n",
      kVariables);
  ASSERT_TRUE(keys);
  ASSERT_EQ(2u, keys->size());
  const ScriptKey& plain = (*keys)[0];
  EXPECT_EQ(L"A.1", plain.name);
  EXPECT_EQ(KeyRemoval::kWhenEmpty, plain.removal);
  ASSERT_EQ(1u, plain.values.size());
  EXPECT_EQ(L"", plain.values[0].name);
  EXPECT_EQ(L"it's", plain.values[0].text);
  EXPECT_EQ(L"{1-2}", plain.children.at(0).values.at(0).text);
  EXPECT_EQ(KeyRemoval::kNever, (*keys)[1].removal);
  const ScriptKey& forced = (*keys)[1].children.at(0);
  EXPECT_EQ(L"{1-2}", forced.name);
  EXPECT_EQ(KeyRemoval::kForce, forced.removal);
  ASSERT_EQ(2u, forced.children.size());
  EXPECT_EQ(L"C:\\it's here\\x.dll", forced.children[0].values.at(0).text);
  EXPECT_EQ(L"Model", forced.children[0].values.at(1).name);
  EXPECT_TRUE(forced.children[1].values.empty());
}

TEST(RegistrationScript, IsRefusedWhenAnyPartIsNotUnderstood) {
  std::string deep = "HKCR ";
  for (int i = 0; i < 20; ++i) deep += "{ k ";
  deep += std::string(20, '}');
  const std::string rows[] = {
      "",
      "HKCR",
      "HKLM { }",
      "HKCR { k ",
      "HKCR { k } more",
      "HKCR { } }",
      "HKCR { k = s 'x }",
      "HKCR { k = s x }",
      "HKCR { k = d '1' }",
      "HKCR { k = }",
      "HKCR { val v }",
      "HKCR { val v = s 'x' }",
      "HKCR { ForceRemove }",
      "HKCR { k { val = s 'x' } }",
      "HKCR { %UNKNOWN% }",
      "HKCR { %CLSID }",
      "HKCR { '' }",
      "HKCR { k\xE9 }",
      "HKCR { k = s 'a\x01' }",
      deep,
  };
  for (const auto& script : rows) EXPECT_FALSE(ParseRegistrationScript(script, kVariables)) << script;
}

class Registrar : public testing::Test {
 protected:
  Registrar() {
    RegCreateKeyExW(HKEY_CURRENT_USER, kRoot, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                    &root, nullptr);
  }
  ~Registrar() override {
    RegCloseKey(root);
    RegDeleteTreeW(HKEY_CURRENT_USER, kRoot);
  }

  bool Exists(const wchar_t* path) const {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
  }
  void Make(const wchar_t* path) const {
    HKEY key = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(root, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                             nullptr, &key, nullptr));
    RegCloseKey(key);
  }
  static std::vector<ScriptKey> Keys(const char* script) {
    return ParseRegistrationScript(script, {}).value();
  }

  static constexpr wchar_t kRoot[] = L"Software\\VarnelRegistrarTest";
  HKEY root = nullptr;
};

TEST_F(Registrar, RemovesWhatItWroteAndNothingElse) {
  const auto keys =
      Keys("HKCR { Plain { Child } Shared { Child } NoRemove Kept { ForceRemove Own { Deep } } }");
  ASSERT_EQ(S_OK, RegisterKeys(root, keys));
  ASSERT_EQ(S_OK, RegisterKeys(root, keys));
  EXPECT_TRUE(Exists(L"Kept\\Own\\Deep"));
  Make(L"Shared\\Foreign");
  Make(L"Kept\\Own\\Foreign");
  EXPECT_EQ(S_OK, UnregisterKeys(root, keys));
  EXPECT_FALSE(Exists(L"Plain"));
  EXPECT_FALSE(Exists(L"Shared\\Child"));
  EXPECT_TRUE(Exists(L"Shared\\Foreign"));
  EXPECT_TRUE(Exists(L"Kept"));
  EXPECT_FALSE(Exists(L"Kept\\Own"));
  EXPECT_EQ(S_OK, UnregisterKeys(root, keys));
}

TEST_F(Registrar, ForcedKeyIsEmptiedBeforeItIsWritten) {
  Make(L"Own\\Old");
  ASSERT_EQ(S_OK, RegisterKeys(root, Keys("HKCR { ForceRemove Own { New } }")));
  EXPECT_TRUE(Exists(L"Own\\New"));
  EXPECT_FALSE(Exists(L"Own\\Old"));
}

TEST_F(Registrar, ScriptThatFailsHalfWayIsUndone) {
  // A key name may not be longer than 255 characters.
  const std::string script = "HKCR { First { Child } Second { " + std::string(300, 'x') + " } }";
  EXPECT_TRUE(FAILED(RegisterKeys(root, Keys(script.c_str()))));
  EXPECT_FALSE(Exists(L"First"));
  EXPECT_FALSE(Exists(L"Second"));
}

TEST(ComponentCategories, AreWrittenAndRemoved) {
  constexpr CLSID kClass = {0x1b0a4f2e, 0x7c11, 0x4c1c, {0x9d, 0x55, 0x10, 0x52, 0x61, 0x8e, 0x0a, 0x77}};
  constexpr CATID kOne = {0x2b0a4f2e, 0x7c11, 0x4c1c, {0x9d, 0x55, 0x10, 0x52, 0x61, 0x8e, 0x0a, 0x77}};
  constexpr CATID kOther = {0x3b0a4f2e, 0x7c11, 0x4c1c, {0x9d, 0x55, 0x10, 0x52, 0x61, 0x8e, 0x0a, 0x77}};
  const ComponentCategory categories[] = {{&kOne, false}, {&kOther, true}};
  const auto exists = [](const std::wstring& key) {
    return RegistryKey(OpenRegistryKey(
        HKEY_CLASSES_ROOT, (L"CLSID\\{1B0A4F2E-7C11-4C1C-9D55-1052618E0A77}\\" + key).c_str(), KEY_READ));
  };
  ASSERT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
  RegisterCategories(kClass, categories);
  EXPECT_TRUE(exists(L"Implemented Categories\\{2B0A4F2E-7C11-4C1C-9D55-1052618E0A77}"));
  EXPECT_TRUE(exists(L"Required Categories\\{3B0A4F2E-7C11-4C1C-9D55-1052618E0A77}"));
  UnregisterCategories(kClass, categories);
  EXPECT_FALSE(exists(L"Implemented Categories\\{2B0A4F2E-7C11-4C1C-9D55-1052618E0A77}"));
  EXPECT_FALSE(exists(L"Required Categories\\{3B0A4F2E-7C11-4C1C-9D55-1052618E0A77}"));
  CoUninitialize();
  RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{1B0A4F2E-7C11-4C1C-9D55-1052618E0A77}");
}

TEST(LoadRestriction, ConcernsTheOldSystemWithAnUnmanagedAgentOnly) {
  constexpr HostVersion kNt4{2, 4};
  struct {
    HostVersion version;
    bool managed;
    const wchar_t* process;
    bool mayLoad;
  } const rows[] = {{kNt4, false, L"C:\\Agent\\OrbaFramework.exe", true},
                    {kNt4, false, L"orbaupdate.EXE", true},
                    {kNt4, false, L"C:/x/REGSVR32.exe", true},
                    {kNt4, false, L"OrbaScript.exe", true},
                    {kNt4, false, L"OrbaScript.com", false},
                    {kNt4, false, L"OrbaScript", false},
                    {kNt4, false, L"xOrbaScript.exe", false},
                    {kNt4, false, L"C:\\OrbaScript.exe\\other.exe", false},
                    {kNt4, false, L"", false},
                    {kNt4, true, L"other.exe", true},
                    {{1, 4}, false, L"other.exe", true},
                    {{2, 5}, false, L"other.exe", true},
                    {{2, 10}, false, L"", true}};
  for (const auto& row : rows)
    EXPECT_EQ(row.mayLoad, MayLoad(row.version, row.managed, row.process))
        << row.version.major << row.managed << std::string(row.process, row.process + wcslen(row.process));
}

}  // namespace
}  // namespace varnel
