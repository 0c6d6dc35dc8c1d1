/* Has the conversation of conversation.txt through varnel.h: talk FILE PART DLL|registered */
#include <initguid.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <varnel/varnel.h>

enum { kFields = 8, kElements = 10 };

static IClassFactory* factory;
static IOrbaEventInf3* report;
static IEventElement* elements[kElements];

/* A BSTR of a text in UTF-8. */
static BSTR Text(const char* utf8) {
  const int size = (int)strlen(utf8);
  const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, size, NULL, 0);
  BSTR text = SysAllocStringLen(NULL, (UINT)units);
  if (size) MultiByteToWideChar(CP_UTF8, 0, utf8, size, text, units);
  return text;
}

/* Seconds since 1970 as a DATE, whose time of day counts away from its zero before that. */
static DATE DateOf(long long unixTime) {
  const long long seconds = unixTime + 25569LL * 86400;
  const long long day = seconds / 86400 - (seconds % 86400 < 0);
  const double part = (double)(seconds - day * 86400) / 86400.0;
  return day < 0 ? (double)day - part : (double)day + part;
}

static HRESULT Open(char** fields) {
  BSTR texts[6];
  HRESULT result = IClassFactory_CreateInstance(factory, NULL, &IID_IOrbaEventInf3, (void**)&report);
  int i;
  if (FAILED(result)) return result;
  for (i = 0; i < 6; ++i) texts[i] = Text(fields[1 + i]);
  result = (strcmp(fields[7], "refuse") == 0 ? report->lpVtbl->Initialize3 : report->lpVtbl->Initialize)(
      report, texts[0], texts[1], texts[2], texts[3], texts[4], texts[5]);
  for (i = 0; i < 6; ++i) SysFreeString(texts[i]);
  if (FAILED(result)) {
    IOrbaEventInf3_Release(report);
    report = NULL;
  }
  return result;
}

static void Keep(int slot, IEventElement* made) {
  if (elements[slot]) IEventElement_Release(elements[slot]);
  elements[slot] = made;
}

static HRESULT Close(void) {
  const HRESULT result = IOrbaEventInf3_DeInitialize(report);
  int i;
  for (i = 0; i < kElements; ++i) Keep(i, NULL);
  IOrbaEventInf3_Release(report);
  report = NULL;
  return result;
}

static HRESULT Do(char** fields) {
  const char* const command = fields[0];
  const int slot = atoi(fields[1]);
  BSTR first = NULL, second = NULL;
  IEventElement* made = NULL;
  HRESULT result = E_UNEXPECTED;
  if (!strcmp(command, "open")) return Open(fields);
  if (!strcmp(command, "close")) return Close();
  if (!strcmp(command, "save")) return IOrbaEventInf3_Save(report);
  if (!strcmp(command, "machine") || !strcmp(command, "save-agent")) {
    first = Text(fields[1]), second = Text(fields[2]);
    result = !strcmp(command, "machine") ? IOrbaEventInf3_CreateMachineElement(report, NULL, first, second)
                                         : IOrbaEventInf3_SaveAgentEventOnly(report, first, second);
  } else if (!strcmp(command, "event")) {
    first = Text(fields[2]);
    result = IOrbaEventInf3_CreateEventElement(report, first, atoi(fields[3]), atoi(fields[4]),
                                               DateOf(atoll(fields[5])), &made);
    Keep(slot, made);
  } else if (!strcmp(command, "machine-element")) {
    result = IOrbaEventInf3_GetMachineElement(report, &made);
    Keep(slot, made);
  } else if (!strcmp(command, "product-element")) {
    result = IOrbaEventInf3_GetSoftwareElement(report, &made);
    Keep(slot, made);
  } else if (!strcmp(command, "set")) {
    first = Text(fields[2]), second = Text(fields[3]);
    result = IEventElement_SetAttributeString(elements[slot], first, second);
  } else if (!strcmp(command, "number")) {
    const long long number = atoll(fields[3]);
    first = Text(fields[2]), second = Text(fields[3]);
    result = number == (long)number ? IEventElement_SetAttributeInt(elements[slot], first, (long)number)
                                    : IEventElement_SetAttributeString(elements[slot], first, second);
  } else if (!strcmp(command, "child") || !strcmp(command, "sibling")) {
    IEventElement* const from = elements[atoi(fields[2])];
    first = Text(fields[3]), second = Text(fields[4]);
    result = !strcmp(command, "child") ? IEventElement_AddElementInto(from, first, second, &made)
                                       : IEventElement_AppendElement(from, first, second, &made);
    Keep(slot, made);
  }
  SysFreeString(first);
  SysFreeString(second);
  return result;
}

static int Converse(const char* file, const char* part) {
  static char line[4096];
  char* fields[kFields + 1];
  FILE* const lines = fopen(file, "rb");
  int number, inside = 0;
  if (!lines) return 1;
  for (number = 1; fgets(line, sizeof(line), lines); ++number) {
    int count = 0;
    char* at = line;
    line[strcspn(line, "\n")] = 0;
    if (line[0] == '[') inside = !strncmp(line + 1, part, strlen(part)) && line[1 + strlen(part)] == ']';
    if (!inside || !line[0] || strchr("[#=", line[0])) continue;
    while (at && count < kFields) {
      fields[count++] = at;
      at = strchr(at, '|');
      if (at) *at++ = 0;
    }
    while (count <= kFields) fields[count++] = "";
    printf("%d 0x%08lX\n", number, (unsigned long)Do(fields));
  }
  return fclose(lines);
}

int main(int argc, char** argv) {
  typedef HRESULT(STDAPICALLTYPE * GetClassObject)(REFCLSID, REFIID, void**);
  HRESULT result;
  int status;
  if (argc != 5) return 2;
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
  if (strcmp(argv[4], "registered") == 0) {
    result = CoGetClassObject(&CLSID_OrbaEventInf, CLSCTX_INPROC_SERVER, NULL, &IID_IClassFactory,
                              (void**)&factory);
  } else {
    const HMODULE module = LoadLibraryA(argv[4]);
    const GetClassObject get = (GetClassObject)(void*)GetProcAddress(module, "DllGetClassObject");
    result = get(&CLSID_OrbaEventInf, &IID_IClassFactory, (void**)&factory);
  }
  if (FAILED(result)) return 1;
  status = Converse(argv[2], argv[3]);
  IClassFactory_Release(factory);
  CoUninitialize();
  return status;
}
