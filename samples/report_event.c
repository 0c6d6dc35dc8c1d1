/* How a security product reports an event from C. Prints what was wrong and what to do, and returns 1, when
 * something goes wrong. */
#include <initguid.h> /* the identifiers are defined in this file */
#include <stdio.h>
#include <varnel/varnel.h>

static int Failed(const char* call, HRESULT result) {
  if (SUCCEEDED(result)) return 0;
  const VarnelResultText text = VarnelDescribeResult(result);
  fprintf(stderr, "%s: %ls (0x%08lX). %ls\n", call, text.meaning, (unsigned long)result, text.remedy);
  return 1;
}

/* A BSTR of no length is one too, so null stands for no memory. */
static HRESULT SetAttribute(IEventElement* element, const wchar_t* name, const wchar_t* value) {
  BSTR nameText = SysAllocString(name);
  BSTR valueText = SysAllocString(value);
  HRESULT result =
      nameText && valueText ? IEventElement_SetAttributeString(element, nameText, valueText) : E_OUTOFMEMORY;
  SysFreeString(valueText);
  SysFreeString(nameText);
  return result;
}

static HRESULT Initialize(IOrbaEventInf3* report) {
  const wchar_t* const texts[6] = {L"EXAMPLE__1000",     L"ProductEvents", L"Product",
                                   L"Example Antivirus", L"4.2.0",         L"Endpoint"};
  BSTR arguments[6];
  HRESULT result;
  int i;
  for (i = 0; i < 6; ++i) arguments[i] = SysAllocString(texts[i]); /* a null one is refused by the call */
  result = IOrbaEventInf3_Initialize(report, arguments[0], arguments[1], arguments[2], arguments[3],
                                     arguments[4], arguments[5]);
  for (i = 0; i < 6; ++i) SysFreeString(arguments[i]);
  return result;
}

static HRESULT AddDetection(IOrbaEventInf3* report) {
  BSTR name = SysAllocString(L"MalwareDetected");
  IEventElement* detection = NULL;
  SYSTEMTIME now;
  DATE date;
  HRESULT result;
  GetSystemTime(&now);
  SystemTimeToVariantTime(&now, &date);
  result = IOrbaEventInf3_CreateEventElement(report, name, 1024, 3, date, &detection);
  SysFreeString(name);
  if (FAILED(result)) return result;
  result = SetAttribute(detection, L"Engine", L"heuristics");
  IEventElement_Release(detection);
  return result;
}

static int Report(IOrbaEventInf3* report) {
  return Failed("Initialize", Initialize(report)) ||
         Failed("CreateMachineElement", IOrbaEventInf3_CreateMachineElement(report, NULL, NULL, NULL)) ||
         Failed("AddDetection", AddDetection(report)) || Failed("Save", IOrbaEventInf3_Save(report)) ||
         Failed("DeInitialize", IOrbaEventInf3_DeInitialize(report));
}

int main(void) {
  void* report = NULL;
  int status = 1;
  if (Failed("CoInitializeEx", CoInitializeEx(NULL, COINIT_MULTITHREADED))) return status;
  if (!Failed("CoCreateInstance", CoCreateInstance(&CLSID_OrbaEventInf, NULL, CLSCTX_INPROC_SERVER,
                                                   &IID_IOrbaEventInf3, &report))) {
    status = Report((IOrbaEventInf3*)report);
    IOrbaEventInf3_Release((IOrbaEventInf3*)report);
  }
  CoUninitialize();
  return status;
}
