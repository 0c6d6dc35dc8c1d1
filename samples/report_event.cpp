// How a security product reports events: it needs the contract's header, COM, and nothing else of this
// project. Prints the failing call and returns 1 when something goes wrong.

#include "varnel_contract.h"

#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using Reference = std::unique_ptr<Interface, Releaser>;

// Automation text for one call.
class Text {
 public:
  explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {
    if (!text_) throw std::bad_alloc();
  }
  ~Text() { SysFreeString(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  BSTR Get() const { return text_; }

 private:
  BSTR text_;
};

void Check(HRESULT result, const char* call) {
  if (SUCCEEDED(result)) return;
  char message[100];
  std::snprintf(message, sizeof(message), "%s failed: 0x%08lX", call, static_cast<unsigned long>(result));
  throw std::runtime_error(message);
}

Reference<IOrbaEventInf3> CreateReport() {
  void* object = nullptr;
  Check(CoCreateInstance(CLSID_OrbaEventInf, nullptr, CLSCTX_INPROC_SERVER, IID_IOrbaEventInf3, &object),
        "CoCreateInstance");
  return Reference<IOrbaEventInf3>(static_cast<IOrbaEventInf3*>(object));
}

DATE Now() {
  SYSTEMTIME time;
  GetSystemTime(&time);
  DATE date = 0;
  SystemTimeToVariantTime(&time, &date);
  return date;
}

Reference<IEventElement> AddEvent(IOrbaEventInf3& report, const wchar_t* name, long id, long severity) {
  IEventElement* event = nullptr;
  IOrbaEventInf2& typed = report;  // this version hands out the element already typed
  Check(typed.CreateEventElement(Text(name).Get(), id, severity, Now(), &event), "CreateEventElement");
  return Reference<IEventElement>(event);
}

Reference<IEventElement> AddChild(IEventElement& parent, const wchar_t* name, const wchar_t* value) {
  IEventElement* child = nullptr;
  Check(parent.AddElementInto(Text(name).Get(), Text(value).Get(), &child), "AddElementInto");
  return Reference<IEventElement>(child);
}

// One report: the product, the machine and two events. The product's identifier decides where the file goes.
void Report(const wchar_t* softwareId, const wchar_t* productName) {
  const auto report = CreateReport();
  Check(report->Initialize(Text(softwareId).Get(), Text(L"ProductEvents").Get(), Text(L"Product").Get(),
                           Text(productName).Get(), Text(L"4.2.0").Get(), Text(L"Endpoint").Get()),
        "Initialize");
  Check(report->CreateMachineElement(nullptr, nullptr, nullptr), "CreateMachineElement");

  const auto detection = AddEvent(*report, L"MalwareDetected", 1024, 3);
  Check(detection->SetAttributeString(Text(L"Engine").Get(), Text(L"heuristics").Get()),
        "SetAttributeString");
  Check(detection->SetAttributeInt(Text(L"Confidence").Get(), 97), "SetAttributeInt");
  const auto file = AddChild(*detection, L"File", L"C:\\Users\\Zo\u00EB\\<setup> & \"more\".exe");
  Check(file->SetAttributeString(Text(L"Action").Get(), Text(L"quarantined").Get()), "SetAttributeString");

  const auto update = AddEvent(*report, L"SignaturesUpdated", 2401, 1);
  AddChild(*update, L"FromVersion", L"1.402.11");
  AddChild(*update, L"ToVersion", L"1.402.12");

  Check(report->Save(), "Save");
  Check(report->DeInitialize(), "DeInitialize");
}

}  // namespace

int main() {
  if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
  int status = 0;
  try {
    Report(L"ORBASRVR_3500", L"Management Server");
    Report(L"EXAMPLE__1000", L"Example Antivirus");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    status = 1;
  }
  CoUninitialize();
  return status;
}
