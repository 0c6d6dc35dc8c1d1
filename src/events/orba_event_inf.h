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
// Methods return S_OK or a code of varnel/varnel.h; E_FAIL for a missing argument or a call out of order,
// E_OUTOFMEMORY when there is no memory; no exception leaves them. Text arguments are copied. Out pointers
// are written on success only and carry a reference that the caller releases. Methods take no lock: callers
// serialise their use of one object; only the two notifications may arrive on any thread at any time.
//
// Once Initialize3 has been called, every method answers VARNEL_E_NOT_MANAGED while the agent is not managed.
//
// IUnknown and IDispatch come from the object forms in com/.
class COrbaEventInf : public IFrameworkObject, public IOrbaEventInf3 {
 public:
  using DefaultInterface = IOrbaEventInf3;
  static REFIID DispatchIid() noexcept { return IID_IOrbaEventInf3; }
  static constexpr wchar_t kProgId[] = L"Varnel.OrbaEventInf";

  explicit COrbaEventInf(ElementObjectFactory newElementObject) noexcept;
  COrbaEventInf(const COrbaEventInf&) = delete;
  COrbaEventInf& operator=(const COrbaEventInf&) = delete;

  // The pointer that answers for the interface, without a new reference; null when there is none.
  void* FindInterface(REFIID iid) noexcept;

  // IConnectionPointContainer: the list of connection points is empty.
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** ppEnum) override;
  STDMETHODIMP FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) override;

  // IFrameworkObject
  void* DeletingDestructor(unsigned int flags) override;
  STDMETHODIMP OnFrameworkTerminate() override;
  STDMETHODIMP OnFrameworkAvailable() override;

  // Whether the framework has taken the object's registration and not stopped since. Any thread may ask.
  bool IsFrameworkAvailable() const noexcept { return frameworkAvailable_ != 0; }

  // IOrbaEventInf
  STDMETHODIMP Initialize(BSTR strSoftwareID, BSTR strRootName, BSTR strSoftwareNodeName,
                          BSTR strSoftwareName, BSTR strVersion, BSTR strProductFamily) override;
  STDMETHODIMP DeInitialize() override;
  STDMETHODIMP GetMachineElement(IUnknown** pIMachineNode) override;
  STDMETHODIMP GetSoftwareElement(IUnknown** pISoftwareNode) override;
  STDMETHODIMP CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity, DATE GMTTime,
                                  IUnknown** pIEventElemNode) override;
  STDMETHODIMP Save() override;
  STDMETHODIMP CreateMachineElement(BSTR szIPAddress, BSTR szOS, BSTR szUserName) override;

  // IOrbaEventInf2
  STDMETHODIMP GetMachineElement(IEventElement** pIMachineNode) override;
  STDMETHODIMP GetSoftwareElement(IEventElement** pISoftwareNode) override;
  STDMETHODIMP CreateEventElement(BSTR strEventNodeName, long lEventID, long lSeverity, DATE GMTTime,
                                  IEventElement** pIEventElemNode) override;
  STDMETHODIMP SaveAgentEventOnly(BSTR strSoftwareID, BSTR strFileExtension) override;

  // IOrbaEventInf3
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
  // Makes the object when it is asked for the first time.
  HRESULT HandOut(ComPtr<CEventElement>& object, AdvXMLParser::Element* element,
                  IEventElement** out) noexcept;
  // `out` may be null.
  HRESULT AddEvent(BSTR name, long id, long severity, DATE time, BadDate badDate, IEventElement** out);
  // Adds "RawMACAddress" to the machine element unless it has been added for the present facts, with a log
  // line before and one after; `outcome` holds one "%s".
  void PopulateMacOnce(const wchar_t* announcement, const wchar_t* outcome);
  HRESULT SaveForServer();
  HRESULT SaveToAgentFolder(const wchar_t* extension);

  ElementObjectFactory newElementObject_;
  EventBatch batch_;        // empty before Initialize and after DeInitialize
  KernelHandle saveMutex_;  // open from Initialize to DeInitialize
  // What a second Initialize replaced, until DeInitialize: callers may still hold its elements.
  std::vector<EventBatch> supersededBatches_;

  bool initialised_ = false;  // never cleared, not even by DeInitialize
  bool eventCreated_ = false;
  bool machineCreated_ = false;
  bool macPopulated_ = false;  // for the latest set of machine facts
  bool refuseWhenUnmanaged_ = false;
  std::uint32_t triggerFlag_ = 0;  // of the latest event
  SRWLOCK makingObjects_{};        // while a getter makes an element object
  std::int32_t maxExtensionLength_ = 0;
  std::atomic<std::int32_t> frameworkAvailable_{0};  // changed by exchange only
  wchar_t softwareId_[260] = {};
  wchar_t osName_[200] = {};
};

}  // namespace varnel
