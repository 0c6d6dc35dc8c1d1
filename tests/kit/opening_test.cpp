// Where a client's reports come from: the registered class, a DLL by its path, a manifest; and what it is
// told when there is nothing.

#include "support/library.h"
#include "support/process.h"
#include "varnel/varnel.hpp"

#include <gmock/gmock.h>

#include <filesystem>

namespace varnel::test {
namespace {

using testing::HasSubstr;

class Opening : public MachineAgentTest {
 protected:
  static HRESULT Open(const varnel::Library& library) {
    varnel::Report report;
    return report.TryOpen(library, {kAgent, "Root", "Product", "Name", "1.2", "Family"});
  }
  static HRESULT OpenRegistered() { return Open(varnel::Library::Registered()); }
};

TEST_F(Opening, RegisteredClassWantsComAndARegistration) {
  EXPECT_EQ(CO_E_NOTINITIALIZED, OpenRegistered());
  const ComScope com;
  const ComScope again;
  EXPECT_EQ(REGDB_E_CLASSNOTREG, OpenRegistered());
  const Library library;
  ASSERT_EQ(S_OK, library.Call("DllRegisterServer"));
  EXPECT_EQ(S_OK, OpenRegistered());
  EXPECT_EQ(S_OK, library.Call("DllUnregisterServer"));
}

TEST_F(Opening, FileThatIsNotOurDllIsToldFromOneThatIsNotThere) {
  const auto open = [](const std::wstring& path) {
    varnel::Library library;
    return library.TryOpenFile(path.c_str());
  };
  const std::wstring copy = folder.File(L"copy.dll");
  EXPECT_EQ(SystemResult(ERROR_MOD_NOT_FOUND), open(copy));
  std::string bytes = ReadBytes(Library::Path());
  const std::size_t machine = bytes.find(std::string_view("PE\0\0", 4)) + 4;
  bytes[machine] = static_cast<char>(bytes[machine] ^ ('\x64' ^ '\x4C'));  // the other width
  bytes[machine + 1] = static_cast<char>(bytes[machine + 1] ^ ('\x86' ^ '\x01'));
  WriteBytes(copy, bytes);
  EXPECT_EQ(SystemResult(ERROR_BAD_EXE_FORMAT), open(copy));
  WriteBytes(copy, "no DLL");
  EXPECT_EQ(SystemResult(ERROR_BAD_EXE_FORMAT), open(copy));
  EXPECT_EQ(SystemResult(ERROR_PROC_NOT_FOUND), open(L"C:\\windows\\system32\\cabinet.dll"));
  EXPECT_EQ(nullptr, GetModuleHandleW(L"cabinet.dll"));
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, Open(varnel::Library::FromFile(L"C:\\windows\\system32\\msxml3.dll")));
  // What is searched for is what somebody has planted.
  for (const wchar_t* const path : {L"varnel.dll", L".\\varnel.dll", L"C:varnel.dll", L"\\varnel.dll", L""})
    EXPECT_EQ(kBadPath, open(path)) << Narrow(path);
  varnel::Library library;
  EXPECT_EQ(kBadPath, library.TryOpenFile(nullptr));
  EXPECT_EQ(kBadPath, library.TryOpenSideBySide(L"varnel.sxs.manifest"));
}

TEST_F(Opening, LibraryIsUnloadedWithItsLastReport) {
  const std::wstring path = folder.File(L"varnel.dll");
  std::filesystem::copy_file(Library::Path(), path);
  Element survivor;
  {
    const varnel::Library library = varnel::Library::FromFile(path.c_str());
    EXPECT_EQ(S_OK, Open(library));
    EXPECT_NE(nullptr, GetModuleHandleW(path.c_str()));
  }
  EXPECT_EQ(nullptr, GetModuleHandleW(path.c_str()));
  {
    const varnel::Report report(varnel::Library::FromFile(path.c_str()), {kAgent, "R", "P", "", "", ""});
    survivor = report.AddEvent("E", 1, 1);
  }
  EXPECT_EQ(kNotOpen, survivor.TryAddChild("C")) << "its code is still there";
}

TEST_F(Opening, LibraryThatWasMovedFromIsNotTheRegisteredClass) {
  varnel::Library moved;
  varnel::Library to(std::move(moved));
  EXPECT_EQ(kNoLibrary, Open(moved));
  EXPECT_EQ(CO_E_NOTINITIALIZED, Open(to)) << "that is the registered class";
  to = varnel::Library::FromFile(Library::Path().c_str());
  moved = std::move(to);
  EXPECT_EQ(kNoLibrary, Open(to));
  EXPECT_EQ(S_OK, Open(moved));
}

TEST_F(Opening, ManifestBesideTheDllReplacesTheRegistration) {
  const std::wstring manifest = folder.File(L"varnel.sxs.manifest");
  const std::wstring dll = folder.File(L"varnel.dll");
  const auto open = [&] {
    varnel::Library library;
    const HRESULT result = library.TryOpenSideBySide(manifest.c_str());
    return FAILED(result) ? result : Open(library);
  };
  EXPECT_EQ(SystemResult(ERROR_FILE_NOT_FOUND), open());
  WriteBytes(manifest, "no manifest");
  EXPECT_EQ(SystemResult(ERROR_SXS_CANT_GEN_ACTCTX), open());
  WriteBytes(manifest, ReadBytes(Wide(VARNEL_MANIFEST)));
  EXPECT_EQ(SystemResult(ERROR_MOD_NOT_FOUND), open());
  WriteBytes(dll, "no DLL");
  EXPECT_EQ(SystemResult(ERROR_BAD_EXE_FORMAT), open());
  WriteBytes(dll, ReadBytes(Library::Path()));
  EXPECT_EQ(S_OK, open());
}

// The samples, as a user starts them.
TEST_F(Opening, SamplesReportOrSayWhatToDo) {
  const auto run = [this](const wchar_t* program) {
    const std::wstring output = folder.File(L"output.txt");
    ChildProcess(L"cmd /c " + Wide(VARNEL_BIN "/") + program + L" 2> " + output).Wait(60'000);
    return ReadBytes(output);
  };
  for (const wchar_t* const sample : {L"report_event.exe", L"report_event_c.exe", L"report_catalogue.exe"})
    EXPECT_THAT(run(sample), HasSubstr("regsvr32"));
  const Library library;
  ASSERT_EQ(S_OK, library.Call("DllRegisterServer"));
  EXPECT_EQ("", run(L"report_event.exe"));
  EXPECT_THAT(TakeFiles(serverEvents), HasSubstr("ProductName=\"Management Server\""));
  EXPECT_THAT(
      TakeFiles(agentEvents),
      HasSubstr("<File Action=\"quarantined\">C:\\Users\\Zo\xC3\xAB\\&lt;setup&gt; &amp; &quot;more&quot;.exe"
                "</File></MalwareDetected><SignaturesUpdated>"));
  EXPECT_EQ("", run(L"report_event_c.exe"));
  EXPECT_THAT(TakeFiles(agentEvents),
              HasSubstr("<MalwareDetected Engine=\"heuristics\"><EventID>1024</EventID>"));
  EXPECT_EQ("", run(L"report_catalogue.exe"));
  EXPECT_THAT(TakeFiles(agentEvents),
              HasSubstr("<File Action=\"quarantined\">C:\\Users\\Zo\xC3\xAB\\&lt;setup&gt;"));
  EXPECT_EQ(0u, ChildProcess(L"" VARNEL_NO_EXCEPTIONS).Wait(60'000));
  EXPECT_THAT(TakeFiles(agentEvents), HasSubstr("<E A=\"1\"><EventID>1</EventID>"));
  EXPECT_EQ(S_OK, library.Call("DllUnregisterServer"));
}

}  // namespace
}  // namespace varnel::test
