#include "report/prediction.h"

#include "events/event_file.h"
#include "events/report_rules.h"
#include "machine/folder_probe.h"
#include "settings/agent_settings.h"
#include "settings/event_filter.h"
#include "varnel/varnel.h"
#include "xml/errors.h"
#include "xml/file_writer.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <span>
#include <utility>

namespace varnel::tool {
namespace {

// Returns a log line's format with texts in place of its arguments.
std::wstring FillIn(std::wstring_view format, std::initializer_list<std::wstring_view> arguments) {
  std::wstring line(format);
  std::size_t at = 0;
  for (const std::wstring_view argument : arguments) {
    at = line.find(L'%', at);
    line.replace(at, 2, argument);
    at += argument.size();
  }
  return line;
}

std::wstring HexadecimalText(HRESULT result) {
  wchar_t digits[12];
  _snwprintf(digits, 12, L"%x", static_cast<unsigned>(result));
  return digits;
}

constexpr wchar_t kEnrol[] = L"Enrol the agent at the management server, which sets AgentMode to 1.";

std::wstring SetPath(const std::wstring& value, const std::wstring& form) {
  return L"Set \"" + value + L"\" to a " + form + L" of at most 259 characters.";
}

// Returns why a folder refuses a new file.
std::wstring InWords(DWORD error) {
  if (error == ERROR_WRITE_PROTECT) return L"the volume, or the folder itself, is read-only";
  return AdvXMLParser::GetLastErrorText();
}

std::wstring RemedyOfFolder(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return L"Create this folder, or repair the program that creates it: the agent, or the server's event "
             L"parser.";
    case ERROR_ACCESS_DENIED:
      return L"Give the account of the reporting product the right to create files in this folder.";
    case ERROR_WRITE_PROTECT:
      return L"Make it writable, or choose a folder on another volume.";
    default:
      return L"Correct the path; varnel doctor says what is wrong with it.";
  }
}

class Predictor {
 public:
  explicit Predictor(const Question& question) : question_(question) {}

  Prediction Run() {
    if (Initialize() && CreateEvent()) Save();
    return std::move(prediction_);
  }

 private:
  // Add a rule. Return whether the library continues after it.
  bool Pass(std::wstring rule, std::wstring finding) {
    prediction_.rules.push_back({call_, std::move(rule), std::move(finding)});
    return true;
  }
  bool Stop(HRESULT result, std::wstring rule, std::wstring finding, std::wstring remedy) {
    prediction_.result = result;
    prediction_.remedy = std::move(remedy);
    return !Pass(std::move(rule), std::move(finding));
  }
  void Log(std::wstring line) { prediction_.lines.push_back(std::move(line)); }

  bool Initialize();
  bool CreateEvent();
  void Save();
  bool SaveForServer();
  bool SaveToAgentFolder();
  template <class Probe>
  const FileStep* FirstBroken(std::span<const FileStep> steps, Probe probe);
  bool PassesFilter(std::int32_t event);
  bool IsSmallEnough(HRESULT failure);
  bool FolderTakesFile(DWORD error, const wchar_t* finding, HRESULT failure);

  const Question& question_;
  Prediction prediction_;
  const char* call_ = "";
  std::uint32_t triggerFlag_ = 0;
};

bool Predictor::PassesFilter(std::int32_t event) {
  const std::wstring rule = L"filter, event " + std::to_wstring(event);
  if (IsEventDisabled(event))
    return Stop(VARNEL_E_EVENT_DISABLED, rule, L"EvtFiltr.ini disables it",
                L"Remove " + std::to_wstring(event) + L" from DisabledEvent in the agent's EvtFiltr.ini" +
                    (event == kWholeProduct ? L": it disables all reporting." : L"."));
  return Pass(rule, L"not disabled");
}

bool Predictor::Initialize() {
  call_ = question_.managedOnly ? "Initialize3" : "Initialize";
  if (RefusesCall(question_.managedOnly)) return Stop(VARNEL_E_NOT_MANAGED, L"managed", L"no", kEnrol);
  if (question_.managedOnly) Pass(L"managed", L"yes");
  return PassesFilter(kWholeProduct);
}

bool Predictor::CreateEvent() {
  call_ = "CreateEventElement";
  if (!IsEventIdentifier(question_.event))
    return Stop(E_FAIL, L"identifier", L"0 is not an event identifier",
                L"Choose an event identifier other than 0.");
  if (!PassesFilter(question_.event)) return false;
  ReadEventTriggerPolicy(question_.severity, &triggerFlag_);
  return Pass(L"trigger policy", triggerFlag_ != 0 ? L"a trigger event" : L"not a trigger event");
}

void Predictor::Save() {
  call_ = "Save";
  const SaveWay way = ChooseSaveWay(question_.managedOnly, true, question_.softwareId.c_str());
  if (way == SaveWay::kRefused || way == SaveWay::kDropped) {
    const bool refused = way == SaveWay::kRefused;
    Stop(refused ? VARNEL_E_NOT_MANAGED : S_OK, L"managed",
         refused ? L"no" : L"no: nothing is written, and Save succeeds", kEnrol);
    return;
  }
  Pass(L"managed", L"yes");
  const bool forServer = way == SaveWay::kToServer;
  Pass(L"software identifier", forServer ? L"the server's" : L"not the server's: the agent's folder");
  prediction_.isWritten = forServer ? SaveForServer() : SaveToAgentFolder();
  if (!prediction_.isWritten) prediction_.file.clear();
  if (FAILED(prediction_.result) && !forServer)
    Log(FillIn(kSaveToFolderFailed,
               {L"<object>", AgentFileExtension(triggerFlag_), HexadecimalText(prediction_.result)}));
}

bool Predictor::IsSmallEnough(HRESULT failure) {
  const std::wstring size = std::to_wstring(question_.size);
  const std::wstring limit = std::to_wstring(ReadEventSizeLimit());
  if (EventSizeWithinLimit(question_.size)) return Pass(L"size limit", size + L" is below " + limit);
  return Stop(failure, L"size limit", size + L" is not below " + limit,
              L"Put fewer events into one report, or set \"Brenn Size\" to more than " + size + L".");
}

bool Predictor::FolderTakesFile(DWORD error, const wchar_t* finding, HRESULT failure) {
  std::wstring text = prediction_.folder;
  if (!std::filesystem::path(text).is_absolute())
    text += L" (not a full path: relative to the host's current folder)";
  if (error == ERROR_SUCCESS) return Pass(L"folder", text + finding);
  AdvXMLParser::SetOpenError(error);
  return Stop(failure, L"folder", text + L": " + InWords(error), RemedyOfFolder(error));
}

// Returns the first rule that the report breaks, or null. `probe` asks the folder. Whether a report encodes
// and is written shows only when it is saved.
template <class Probe>
const FileStep* Predictor::FirstBroken(std::span<const FileStep> steps, Probe probe) {
  const auto holds = [&](const FileStep& step) {
    switch (step.rule) {
      case FileRule::kIsSmall:
        return IsSmallEnough(step.failure);
      case FileRule::kIsOpened: {
        const MadeFolder made = probe();
        return FolderTakesFile(made.error, made.isMade ? L" is created" : L" accepts new files",
                               step.failure);
      }
      case FileRule::kEncodes:
      case FileRule::kIsWritten:
        break;
    }
    return true;
  };
  const auto broken = std::find_if_not(steps.begin(), steps.end(), holds);
  return broken == steps.end() ? nullptr : &*broken;
}

bool Predictor::SaveForServer() {
  wchar_t folder[kPathCapacity];
  if (!ReadEventsPath(folder))
    return Stop(E_FAIL, L"EventsPath", L"not set, or too long", SetPath(L"EventsPath", L"full path"));
  Pass(L"EventsPath", folder);
  prediction_.folder = folder;
  prediction_.file = L"<GUID>.xml";
  const std::wstring path = prediction_.folder + L'\\' + prediction_.file;
  const FileStep* const broken =
      FirstBroken(kServerFileSteps, [&] { return WhyNoNewFileInMadeFolder(folder, ServerEventFileName()); });
  if (broken && broken->rule == FileRule::kIsOpened)
    Log(FillIn(kServerNotCreated, {L"<object>", path}));
  else if (broken)
    Log(FillIn(kServerNotWritten, {L"<object>", path, kServerTooLarge}));
  return !broken;
}

bool Predictor::SaveToAgentFolder() {
  wchar_t dataPath[kPathCapacity];
  if (!ReadDataPath(dataPath)) {
    Log(FillIn(kNoDataFolder, {L"<number>"}));
    return Stop(E_FAIL, L"Data Path", L"not set, or too long",
                SetPath(L"Data Path", L"full path that ends in a backslash"));
  }
  Pass(L"Data Path", dataPath);
  prediction_.folder = AgentEventFolder(dataPath);
  const std::wstring extension = std::wstring(L".") + AgentFileExtension(triggerFlag_);
  prediction_.file = L"<time>" + extension;
  const std::wstring path = prediction_.folder + L'\\' + prediction_.file;
  const FileStep* const broken = FirstBroken(kAgentFileSteps, [&]() -> MadeFolder {
    SYSTEMTIME now;
    GetLocalTime(&now);
    const std::wstring name = AgentEventFileName(now, 0, GetCurrentThreadId()) + extension;
    return {.error = WhyNoNewFile(prediction_.folder + L'\\', name), .isMade = false};
  });
  if (broken)
    Log(FillIn(
        kAgentNotSaved,
        {path, broken->rule == FileRule::kIsSmall ? kAgentTooLarge : AdvXMLParser::GetLastErrorText()}));
  return !broken;
}

}  // namespace

Prediction Predict(const Question& question) {
  return Predictor(question).Run();
}

}  // namespace varnel::tool
