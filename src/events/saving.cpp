#include "base/hresult.h"
#include "events/agent_event_file.h"
#include "events/identity.h"
#include "events/orba_event_inf.h"
#include "events/result_codes.h"
#include "events/server_event_file.h"
#include "logging/log_writer.h"
#include "settings/agent_settings.h"
#include "settings/registry_text.h"

#include <cwchar>
#include <iterator>

namespace varnel {
namespace {

constexpr wchar_t kServerSoftwareId[] = L"ORBASRVR_3500";
constexpr wchar_t kAgentComponentPrefix[] = L"ORBAAGENT";

}  // namespace

STDMETHODIMP COrbaEventInf::Save() {
  return Guarded([&] {
    LogDetail(kFacility, L"%x Save", Identity());
    if (IsRefused()) {
      LogDetail(kFacility, L"%x Not saving unmanaged", Identity());
      return kAgentNotManaged;
    }
    if (!IsAgentManaged()) {
      LogDetail(kFacility, L"%x Not saving unmanaged", Identity());
      return S_OK;
    }
    if (!eventCreated_ || !machineCreated_) {
      LogError(kFacility, L"%x Not saving incomplete", Identity());
      return E_FAIL;
    }
    if (std::wcscmp(softwareId_, kServerSoftwareId) == 0) return SaveForServer();
    const wchar_t* const extension = triggerFlag_ != 0 ? L"txml" : L"xml";
    const HRESULT result = SaveToAgentFolder(extension);
    if (FAILED(result))
      LogError(kFacility, L"%x %s save to folder failed hr=%x", Identity(), extension, result);
    return result;
  });
}

STDMETHODIMP COrbaEventInf::SaveAgentEventOnly(BSTR strSoftwareID, BSTR strFileExtension) {
  return Guarded([&] {
    const auto extensionLength = static_cast<std::int32_t>(std::wcslen(TextOf(strFileExtension)));
    LogDetail(kFacility, L"%x SaveAgentEventOnly %s|%d|%d", Identity(), strSoftwareID, extensionLength,
              maxExtensionLength_);
    if (IsRefused()) return kAgentNotManaged;
    if (!strSoftwareID || !strFileExtension) return kBadArgument;
    if (extensionLength > maxExtensionLength_) return kBadArgument;
    if (_wcsnicmp(strSoftwareID, kAgentComponentPrefix, std::size(kAgentComponentPrefix) - 1) != 0)
      return kNotAnAgentComponent;
    return SaveToAgentFolder(strFileExtension);
  });
}

HRESULT COrbaEventInf::SaveForServer() {
  if (!batch_) return E_FAIL;
  wchar_t folder[260] = {};
  if (!ReadWholeRegistryString(folder, kEventParserKey, L"EventsPath")) return E_FAIL;
  PopulateMacOnce(L"Populating event MAC field before Save()", L"Populating event MAC field %s");
  // Outside the mutex, so that only the work on the file itself happens under it.
  const std::wstring document = batch_.document->ToString(false);
  return WriteServerEventFile(folder, document, saveMutex_.Get(), Identity());
}

HRESULT COrbaEventInf::SaveToAgentFolder(const wchar_t* extension) {
  if (!batch_) return E_FAIL;
  wchar_t dataPath[260] = {};
  if (!ReadWholeRegistryString(dataPath, kFrameworkKey, L"Data Path")) {
    // The last error is whatever it is: reading the registry does not set it.
    LogError(kFacility, L"Failed to get data folder. Error code =%d", GetLastError());
    return E_FAIL;
  }
  // The agent's path ends in a backslash; none is added for one that does not.
  const std::wstring folder = std::wstring(dataPath) + L"AgentEvents";
  PopulateMacOnce(L"Populating event MAC field before SaveToAgentEventFolder()", L"Populating MAC field %s");
  const std::wstring document = batch_.document->ToString(false);
  return WriteAgentEventFile(folder, extension, document, saveMutex_.Get());
}

}  // namespace varnel
