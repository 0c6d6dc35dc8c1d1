#include "component/library.h"
#include "support/captured_output.h"
#include "support/soak.h"
#include "support/utf8_oracle.h"

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <optional>
#include <regex>

namespace varnel::test {
namespace {

using Bytes = std::vector<BYTE>;
constexpr auto kServer = L"ORBASRVR_3500";
constexpr auto kOther = L"EXAMPLE__1000";
constexpr wchar_t kProductOptions[] = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";
constexpr long kSeverity = 3;
constexpr std::size_t kPath = 260;  // characters that a path must stay below

// A registry value as somebody may leave it behind.
struct Value {
  DWORD type;
  Bytes bytes;

  // As a text: up to its first zero, a lone last byte as a character.
  std::wstring Text() const {
    std::wstring text(bytes.size() / 2 + 1, L'\0');
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<BYTE*>(text.data()));
    return text.c_str();
  }
  // As a number over the bytes of `initial`; nothing when it is longer than four bytes.
  std::optional<std::int32_t> Number(std::int32_t initial = 0) const {
    if (bytes.size() > sizeof(initial)) return std::nullopt;
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<BYTE*>(&initial));
    return initial;
  }
  // The same with a digit as its number.
  std::optional<std::int32_t> Policy(std::int32_t initial) const {
    const auto number = Number(initial);
    return number && *number >= L'0' ? *number - L'0' : number;
  }
  // Whether the library's 32 bytes, or as many characters of a text, hold a "U".
  bool NamesAccount() const {
    const bool text = type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
    const std::size_t step = text ? 2 : 1;
    if (bytes.size() / step > 32) return false;
    for (std::size_t at = 0; at + step <= bytes.size(); at += step)
      if (bytes[at] == 'U' || bytes[at] == 'u') return true;
    return false;
  }
};

// What must come of one report.
struct Outcome {
  bool managed = true;
  HRESULT agentFolder = S_OK;
  std::optional<HRESULT> serverFolder = S_OK;  // nothing: the system may or may not make it
  std::wstring serverPath;
  bool filterFound = true;
  std::uint32_t limit = 8'912'896;
  std::wstring extension = L".txml";
  std::wstring guid = L"{A}";
  std::wstring address = L"192.0.2.7";  // empty: the machine's own
  bool details = true;
  bool milliseconds = false;
  bool account = false;
};

void ChangesNothing(const Value&, const std::wstring&, Outcome&) {}

// A value that the library reads, and what it may change. A rule is told the text that works.
struct Setting {
  const wchar_t* key;
  const wchar_t* name;
  const wchar_t* softwareId;
  void (*rule)(const Value& value, const std::wstring& good, Outcome& outcome);
};

void PrintTo(const Setting&, std::ostream*) {}  // the test's name says it

const Setting kSettings[] = {
    {kFramework, L"AgentMode", kServer,
     [](const Value& value, auto&, Outcome& outcome) { outcome.managed = value.Number().value_or(0) != 0; }},
    {kFramework, L"Data Path", kOther,
     [](const Value& value, auto& good, Outcome& outcome) {
       const std::wstring path = value.Text();
       outcome.agentFolder = path.size() >= kPath ? E_FAIL : path == good ? S_OK : kNotCreated;
       outcome.filterFound = path == good || path + L"\\" == good;
     }},
    {kEventParser, L"EventsPath", kServer,
     [](const Value& value, auto& good, Outcome& outcome) {
       const std::wstring path = value.Text();
       outcome.serverPath = path.empty() ? L"\\." : path;  // the drive's root
       if (path != good) outcome.serverFolder.reset();
       if (path.size() >= kPath) outcome.serverFolder = E_FAIL;
     }},
    {kFramework, L"AgentGUID", kServer,
     [](const Value& value, auto&, Outcome& outcome) { outcome.guid = value.Text().substr(0, 500); }},
    {kFramework, L"IPAddress", kServer,
     [](const Value& value, auto&, Outcome& outcome) {
       outcome.address = value.Text();
       if (value.bytes.size() > 2 * kPath || outcome.address.size() >= kPath || outcome.address[0] == L'N')
         outcome.address.clear();
     }},
    {kFramework, L"AgPlcyEnableEventTrigger", kOther,
     [](const Value& value, auto&, Outcome& outcome) {
       if (value.Policy(0).value_or(0) == 0) outcome.extension = L".xml";
     }},
    {kFramework, L"AgPlcyEventTriggerThreshold", kOther,
     [](const Value& value, auto&, Outcome& outcome) {
       if (value.Policy(5).value_or(kSeverity + 1) > kSeverity) outcome.extension = L".xml";
     }},
    {kFramework, L"Brenn Size", kServer,
     [](const Value& value, auto&, Outcome& outcome) {
       if (const auto limit = value.Number()) outcome.limit = static_cast<std::uint32_t>(*limit);
     }},
    {kFramework, L"SelfProtectionClient", kServer, ChangesNothing},
    {kProductOptions, L"ProductType", kServer, ChangesNothing},
    {kLog, L"LogLevel", kServer,
     [](const Value& value, auto&, Outcome& outcome) {
       outcome.details = value.type != REG_DWORD || value.Number().value_or(8) >= 8;
     }},
    {kLog, L"LogSize", kServer, ChangesNothing},
    {kLog, L"LogDetailList", kServer, ChangesNothing},
    {kLog, L"LogHiRes", kServer,
     [](const Value& value, auto&, Outcome& outcome) {
       outcome.milliseconds = value.Number().value_or(0) != 0;
     }},
    {kLog, L"LogFlags", kServer,
     [](const Value& value, auto&, Outcome& outcome) { outcome.account = value.NamesAccount(); }},
};

constexpr DWORD kTypes[] = {
    REG_NONE, REG_SZ,       REG_EXPAND_SZ,     REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN,
    REG_LINK, REG_MULTI_SZ, REG_RESOURCE_LIST, 9,          10,        REG_QWORD,
    0x7777};
// Around every buffer, in bytes.
constexpr std::size_t kLengths[] = {0,   1,    2,    3,    4,    5,    6,    7,    8,     9,   31,
                                    32,  33,   63,   64,   65,   255,  256,  257,  259,   260, 261,
                                    398, 400,  402,  404,  406,  518,  519,  520,  521,   522, 998,
                                    999, 1000, 1001, 1002, 1004, 4095, 4096, 4097, 65'536};
enum Content { kOnes, kZeros, kDigits, kMarkup, kGood, kContents };

Bytes Repeated(const std::wstring& pattern, std::size_t length) {
  Bytes bytes(length);
  const auto* const from = reinterpret_cast<const BYTE*>(pattern.data());
  for (std::size_t at = 0; at < length; ++at) bytes[at] = from[at % (pattern.size() * 2)];
  return bytes;
}

Bytes Make(Content content, std::size_t length, const Bytes& good) {
  if (content == kOnes) return Bytes(length, 0xFF);
  if (content == kZeros) return Bytes(length);
  if (content == kDigits) return Repeated(L"1234567890", length);
  if (content == kMarkup || length < good.size()) return Repeated(L"N<&'\"> Uu;", length);
  Bytes bytes = good;
  bytes.resize(length);
  return bytes;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(text.npos, at) << from;
  return at == text.npos ? text : text.replace(at, from.size(), to);
}

std::string Between(const std::string& text, const std::string& start, const std::string& end) {
  const auto from = text.find(start) + start.size();
  return text.substr(from, text.find(end, from) - from);
}

// What came of one report.
struct Answers {
  std::string logged;  // by the first call
  HRESULT initialize;
  HRESULT agentSave;
  HRESULT save;
  HRESULT filtered;
};

class HostileSetting : public AgentTest, public testing::WithParamInterface<Setting> {
 protected:
  HostileSetting() {
    std::filesystem::current_path(folder.MakeFolder(L"current"));  // relative paths lead here
    WriteBytes(folder.MakeFolder(L"data") + L"\\EvtFiltr.ini", "DisabledEvent=1001;");
    for (const auto name : {L"AgPlcyEnableEventTrigger", L"AgPlcyEventTriggerThreshold"})
      registry.SetNumber(kFramework, name, 1);
    registry.SetNumber(kFramework, L"Brenn Size", 8'912'896);
    registry.SetText(kFramework, L"AgentGUID", L"{A}");
    registry.SetNumber(kLog, L"LogLevel", 8);
    for (const auto name : {L"LogSize", L"LogHiRes", L"LogFlags", L"LogDetailList"})
      registry.SetNumber(kLog, name, 0);
    registry.SetText(kFramework, L"SelfProtectionClient", L"");
    registry.SetText(kProductOptions, L"ProductType", L"WinNT");
    document_ = SavedWith(L"192.0.2.7");
    const std::string own = SavedWith(L"N");
    ownAddress_ = Between(own, "<IPAddress>", "</IPAddress>");
    ownMac_ = Between(own, "<RawMACAddress>", "</RawMACAddress>");
    registry.SetText(kFramework, L"IPAddress", L"192.0.2.7");
  }
  ~HostileSetting() override { std::filesystem::current_path(std::filesystem::temp_directory_path()); }

  void ExpectReport(const wchar_t* softwareId, const Outcome& outcome);

  Library library;

 private:
  Answers Report(const wchar_t* softwareId) const;
  std::string SavedWith(const std::wstring& address);
  std::string DocumentFor(const Outcome& outcome) const;
  std::vector<std::wstring> Take(const std::wstring& where, const std::string& document) const;

  std::string document_;
  std::string ownAddress_;
  std::string ownMac_;
};

std::string HostileSetting::SavedWith(const std::wstring& address) {
  registry.SetText(kFramework, L"IPAddress", address);
  const CapturedOutput silence;
  const auto report = library.CreateReport();
  EXPECT_EQ(S_OK, Initialize(*report, kOther));
  Fill(*report, kSeverity);
  EXPECT_EQ(S_OK, report->Save());
  const std::string saved = OnlyFile(agentEvents);
  Take(agentEvents, saved);
  return saved;
}

std::string HostileSetting::DocumentFor(const Outcome& outcome) const {
  const auto markup = [](const std::wstring& text) { return Utf8Of(Escaped(text)); };
  std::string document = Replaced(document_, "{A}", markup(outcome.guid));
  if (!outcome.address.empty()) return Replaced(document, "192.0.2.7", markup(outcome.address));
  document = Replaced(document, "192.0.2.7", ownAddress_);
  return Replaced(document, "<RawMACAddress>", "<RawMACAddress>" + ownMac_);
}

// The extensions of the reports in a folder, which are removed. Each must be the document.
std::vector<std::wstring> HostileSetting::Take(const std::wstring& where, const std::string& document) const {
  std::vector<std::wstring> extensions;
  for (const auto& name : FilesIn(where)) {
    const std::wstring extension = std::filesystem::path(name).extension().wstring();
    if (!extension.ends_with(L"xml")) continue;  // the folder may be any
    extensions.push_back(extension);
    EXPECT_TRUE(document == ReadBytes(where + L"\\" + name)) << "not the document";
    std::filesystem::remove(where + L"\\" + name);
  }
  std::sort(extensions.begin(), extensions.end());
  return extensions;
}

Answers HostileSetting::Report(const wchar_t* softwareId) const {
  Answers answers;
  const CapturedOutput output;
  const auto report = library.CreateReport();
  static_cast<IOrbaEventInf*>(report.Get())->GetMachineElement(nullptr);
  answers.logged = output.Text();
  answers.initialize = Initialize(*report, softwareId);
  Fill(*report, kSeverity);
  answers.agentSave = report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"myxml"));
  answers.save = report->Save();
  answers.filtered = AddEvent(*report, L"Other", 1001);
  return answers;
}

void HostileSetting::ExpectReport(const wchar_t* softwareId, const Outcome& outcome) {
  const Answers answers = Report(softwareId);
  const std::regex line(std::string("[-0-9]{10} [:0-9]{8}") + (outcome.milliseconds ? "\\.[0-9]{3}" : "") +
                        " X +[0-9]+ Quorvel  " + (outcome.account ? ".+\t" : "") +
                        "[0-9a-f]+ GetMachineElement\n");
  EXPECT_TRUE(outcome.details ? std::regex_match(answers.logged, line) : answers.logged.empty())
      << answers.logged;
  EXPECT_EQ(S_OK, answers.initialize);
  EXPECT_EQ(outcome.filterFound ? kDisabled : S_OK, answers.filtered);

  const std::string document = DocumentFor(outcome);
  const auto unlessTooLarge = [&](HRESULT result) {
    return result == S_OK && outcome.limit <= document.size() ? kRefused : result;
  };
  EXPECT_EQ(unlessTooLarge(outcome.agentFolder), answers.agentSave);
  const HRESULT anyFolder = answers.save == S_OK ? S_OK : kNotCreated;
  const HRESULT folderResult =
      softwareId == kServer ? outcome.serverFolder.value_or(anyFolder) : outcome.agentFolder;
  EXPECT_EQ(outcome.managed ? unlessTooLarge(folderResult) : S_OK, answers.save);

  const bool written = outcome.managed && answers.save == S_OK;
  std::vector<std::wstring> agentReports;
  if (answers.agentSave == S_OK) agentReports.push_back(L".myxml");
  if (written && softwareId == kOther) agentReports.push_back(outcome.extension);
  EXPECT_EQ(agentReports, Take(agentEvents, document));
  const bool toServer = written && softwareId == kServer;
  EXPECT_EQ(toServer ? 1u : 0u, Take(toServer ? outcome.serverPath : serverEvents, document).size());
}

Bytes Stored(const Setting& setting, DWORD& type) {
  Bytes bytes(1000);
  auto size = static_cast<DWORD>(bytes.size());
  EXPECT_EQ(ERROR_SUCCESS, RegGetValueW(HKEY_LOCAL_MACHINE, setting.key, setting.name, RRF_RT_ANY, &type,
                                        bytes.data(), &size));
  bytes.resize(size);
  return bytes;
}

// The short form takes each length with one type and content, other ones for each length and setting.
TEST_P(HostileSetting, GivesTheDocumentedReportAndHarmsNoLaterOne) {
  const bool longForm = Count(0, 1) == 1;
  const Setting& setting = GetParam();
  Value good;
  good.bytes = Stored(setting, good.type);
  Outcome works;
  works.serverPath = serverEvents;
  for (std::size_t at = 0; at < std::size(kLengths); ++at) {
    constexpr std::size_t kForms = std::size(kTypes) * kContents;
    const std::size_t chosen = (at * 27 + std::wcslen(setting.name)) % kForms;
    for (std::size_t form = 0; form < kForms; ++form) {
      if (!longForm && form != chosen) continue;
      const auto content = static_cast<Content>(form % kContents);
      const Value value{kTypes[form / kContents], Make(content, kLengths[at], good.bytes)};
      SCOPED_TRACE(testing::Message() << "length " << kLengths[at] << " form " << form);
      Outcome outcome = works;
      setting.rule(value, good.Text(), outcome);
      library.CreateReport();  // takes over the good log settings, which one that cannot be used leaves as
                               // they are
      registry.SetBytes(setting.key, setting.name, value.type, value.bytes);
      ExpectReport(setting.softwareId, outcome);
      registry.SetBytes(setting.key, setting.name, good.type, good.bytes);
    }
    if (longForm || at % 6 == 0) ExpectReport(setting.softwareId, works);
  }
}

INSTANTIATE_TEST_SUITE_P(, HostileSetting, testing::ValuesIn(kSettings), [](const auto& row) {
  std::string name;
  for (const wchar_t* c = row.param.name; *c; ++c)
    if (*c != L' ') name += static_cast<char>(*c);
  return name;
});

}  // namespace
}  // namespace varnel::test
