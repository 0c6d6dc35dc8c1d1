#pragma once

#include "base/handles.h"
#include "base/locks.h"
#include "events/event_batch.h"
#include "events/framework_object.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace varnel {

// The event information object: one report, from the product's description to the saved file.
//
// No method lets an exception out. The methods of IOrbaEventInf, IOrbaEventInf2 and IOrbaEventInf3 return
// S_OK, a code of varnel/varnel.h, E_FAIL, E_OUTOFMEMORY, or E_ACCESSDENIED if the thread cannot impersonate
// its user again. Once Initialize3 has been called, all of them return VARNEL_E_NOT_MANAGED, and do nothing,
// while the agent is not managed. Text arguments are copied. Out pointers are written on success only and
// then carry a reference that the caller releases.
//
// The document has no lock: callers serialise their use of one object. Only the getters lock, while they
// create an element object. The two notifications of IFrameworkObject may arrive on any thread at any time.
//
// IUnknown and IDispatch come from the object forms in com/.
class COrbaEventInf : public IFrameworkObject, public IOrbaEventInf3 {
 public:
  using DefaultInterface = IOrbaEventInf3;
  static constexpr wchar_t kProgId[] = L"Varnel.OrbaEventInf";

  explicit COrbaEventInf(ElementObjectFactory newElementObject) noexcept;
  COrbaEventInf(const COrbaEventInf&) = delete;
  COrbaEventInf& operator=(const COrbaEventInf&) = delete;

  // Returns the pointer that QueryInterface hands out for `iid`, without a new reference; null if the object
  // does not have that interface.
  void* FindInterface(REFIID iid) noexcept;

  // IConnectionPointContainer, over an empty list: an enumerator of nothing, and CONNECT_E_NOCONNECTION for
  // every interface. E_POINTER for a null out pointer; a failure sets *ppEnum and *ppCP to null.
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** ppEnum) override;
  STDMETHODIMP FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) override;

  // IFrameworkObject
  void* DeletingDestructor(unsigned int flags) override;
  STDMETHODIMP OnFrameworkTerminate() override;
  STDMETHODIMP OnFrameworkAvailable() override;

  // True if the framework has accepted the object's registration and has not terminated since. Any thread may
  // call.
  bool IsFrameworkAvailable() const noexcept { return frameworkAvailable_ != 0; }

  // IOrbaEventInf

  // Describes the product and starts an empty report; the first call on an object. Texts may be empty, but
  // not null. The software identifier is cut to 259 characters. E_FAIL for a null text;
  // VARNEL_E_EVENT_DISABLED if the event filter lists event 0, which switches off all reporting. A failure
  // leaves the current report as it was. A second call starts another report. The elements of the replaced
  // one stay usable until DeInitialize, and Save still counts the events and machine facts that were created
  // before.
  STDMETHODIMP Initialize(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                          BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) override;

  // Frees the report; element objects that callers still hold answer E_FAIL from now on. E_FAIL before the
  // first successful Initialize. Calling it again does nothing and returns S_OK.
  STDMETHODIMP DeInitialize() override;

  // Hand out the element "MachineInfo" and the product's element: the same object at each call. E_FAIL for a
  // null out pointer and without a report. These two write a log line first, even if they then refuse the
  // call; those of IOrbaEventInf2 write none.
  STDMETHODIMP GetMachineElement(IUnknown** pIMachineNode) override;
  STDMETHODIMP GetSoftwareElement(IUnknown** pISoftwareNode) override;

  // Appends an event to the product's element and hands its element out; with a null out pointer the event is
  // added all the same. `GMTTime` is an Automation date in UTC.
  // E_FAIL for a null name, identifier 0, no report, or a date that Windows cannot convert;
  // VARNEL_E_EVENT_DISABLED if the event filter lists the identifier. A failure adds nothing, but a refused
  // date, or no memory, still sets the trigger flag, which chooses the extension of the next file, from
  // `lSeverity`.
  STDMETHODIMP CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity, DATE GMTTime,
                                  IUnknown** pIEventElemNode) override;

  // Writes the report as one file; may be called again, and then writes another one.
  // S_OK without a file if the agent is not managed. E_FAIL if no event or no machine facts were ever
  // created, if the registry does not name the folder, or after DeInitialize. VARNEL_E_NOT_WRITTEN and
  // VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN: see WriteServerEventFile and WriteAgentEventFile. The report itself is
  // unchanged, except that the first save after CreateMachineElement adds "RawMACAddress".
  STDMETHODIMP Save() override;

  // Appends one set of machine facts to "MachineInfo". An empty or null `szOS` or `szUserName` stands for the
  // system's own; `szIPAddress` is logged and not used, because the address comes from the agent or the host.
  // E_FAIL without a report; Save then counts the machine facts as created all the same.
  STDMETHODIMP CreateMachineElement(BSTR szIPAddress, BSTR szOS, BSTR szUserName) override;

  // IOrbaEventInf2

  STDMETHODIMP GetMachineElement(IEventElement** pIMachineNode) override;
  STDMETHODIMP GetSoftwareElement(IEventElement** pISoftwareNode) override;

  // Like the method of IOrbaEventInf, but a date that Windows cannot convert is written as
  // "0000-00-00T00:00:00" instead of refused: a caller of this form prefers an event without a time to none.
  STDMETHODIMP CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity, DATE GMTTime,
                                  IEventElement** pIEventElemNode) override;

  // Writes the report into the agent's event folder under the extension `strFileExtension` (no dot), whether
  // or not it has events and machine facts, and even if the agent is not managed.
  // VARNEL_E_BAD_ARGUMENT for a null argument or an extension of more than 200 characters (before the first
  // successful Initialize: any that is not empty); VARNEL_E_NOT_AGENT_COMPONENT if `strSoftwareID` does not
  // begin with "ORBAAGENT" in any letter case; otherwise as Save.
  STDMETHODIMP SaveAgentEventOnly(BSTR strSoftwareID, BSTR strFileExtension) override;

  // IOrbaEventInf3

  // Like Initialize, for products that want to be told when the agent is not managed: this call and every
  // later one on the object then return VARNEL_E_NOT_MANAGED. The object remembers this even if the call
  // fails.
  STDMETHODIMP Initialize3(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                           BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) override;

 protected:
  virtual ~COrbaEventInf();

 private:
  enum class BadDate { kRefuse, kWriteZeros };

  unsigned Identity() const noexcept;
  bool IsRefused() const noexcept;
  HRESULT HandOut(const char* method, ComPtr<CEventElement>& object, AdvXMLParser::Element* element,
                  IUnknown** out) noexcept;
  // Creates the element object on the first request.
  HRESULT HandOut(ComPtr<CEventElement>& object, AdvXMLParser::Element* element,
                  IEventElement** out) noexcept;
  // `out` may be null.
  HRESULT AddEvent(BSTR name, long id, long severity, DATE time, BadDate badDate, IEventElement** out);
  // Adds "RawMACAddress" to the machine element, once for each set of machine facts. Logs `announcement`
  // before and `outcome`, which contains one "%s", after.
  void PopulateMacOnce(const wchar_t* announcement, const wchar_t* outcome);
  HRESULT SaveForServer();
  HRESULT SaveToAgentFolder(const wchar_t* extension);

  ElementObjectFactory newElementObject_;
  EventBatch batch_;        // empty before Initialize and after DeInitialize
  KernelHandle saveMutex_;  // open from Initialize to DeInitialize
  // From Initialize to DeInitialize; empty if Windows has no such library.
  LoadedLibrary randomNumbers_;
  // Reports that a further Initialize replaced. They live until DeInitialize, because callers may hold their
  // elements.
  std::vector<EventBatch> supersededBatches_;

  bool initialised_ = false;  // never cleared, not even by DeInitialize
  bool eventCreated_ = false;
  bool machineCreated_ = false;
  bool macPopulated_ = false;  // true once the latest set of machine facts has its "RawMACAddress"
  bool refuseWhenUnmanaged_ = false;
  std::uint32_t triggerFlag_ = 0;                    // set from the severity of the latest event
  SRWLOCK makingObjects_{};                          // held while a getter creates an element object
  std::atomic<std::int32_t> frameworkAvailable_{0};  // changed by exchange only
  wchar_t softwareId_[260] = {};
  wchar_t osName_[200] = {};
};

}  // namespace varnel
