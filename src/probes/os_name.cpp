#include "probes/os_name.h"

#include "base/registry.h"
#include "base/system_library.h"
#include "probes/os_name_rule.h"

#include <windows.h>

#include <cwchar>
#include <iterator>
#include <string_view>

#if defined(_MSC_VER)
#pragma warning( \
    disable : 4996)  // GetVersionEx: its answer to a process without a manifest is the name's base
#endif

namespace varnel {
namespace {

constexpr int kServerR2Metric = 89;  // SM_SERVERR2
constexpr wchar_t kProductOptionsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

// The record's size tells Windows which of the two records it is.
template <class Record>
bool QueryVersion(Record& record) noexcept {
  record = {};
  record.dwOSVersionInfoSize = sizeof(record);
  return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&record)) != FALSE;
}

std::optional<OsFacts::Extended> QueryExtended() noexcept {
  OSVERSIONINFOEXW record;
  if (!QueryVersion(record)) return std::nullopt;
  return OsFacts::Extended{record.dwMinorVersion, record.wProductType == VER_NT_WORKSTATION};
}

// Loads user32 for this one question: only Windows 5.2 is asked.
bool IsServerR2() {
  const LoadedLibrary library = LoadSystemLibrary(L"user32.dll");
  decltype(&::GetSystemMetrics) getMetrics = nullptr;
  return library && Resolve(library, "GetSystemMetrics", getMetrics) && getMetrics(kServerR2Metric) != 0;
}

// Reads the facts that OsNameFrom needs for this version. They may refer to the text in `productType`.
template <std::size_t N>
OsFacts ReadOsFacts(wchar_t (&productType)[N]) {
  OsFacts facts;
  OSVERSIONINFOW basic;
  if (!QueryVersion(basic)) return facts;
  facts.platform = basic.dwPlatformId;
  facts.major = basic.dwMajorVersion;
  facts.minor = basic.dwMinorVersion;
  if (facts.platform != VER_PLATFORM_WIN32_NT || facts.major < 5) return facts;
  facts.extended = QueryExtended();
  if (facts.major == 5 && facts.minor == 2) facts.serverR2 = IsServerR2();
  if (facts.major != 6) return facts;
  if (!facts.extended) {
    ReadProductTypeText(productType, N);
    facts.productType = productType;
  } else if (facts.extended->minor == 2 || facts.extended->minor == 3) {
    const auto again = QueryExtended();
    facts.minorAskedAgain = again ? again->minor : 0;
  }
  return facts;
}

void CopyText(wchar_t* destination, std::uint32_t length, std::wstring_view literal) noexcept {
  std::wcsncpy(destination, literal.data(), length);
}

}  // namespace

std::int32_t GetOsName(wchar_t* destination, std::uint32_t length) {
  wchar_t productType[260] = {};
  if (const auto name = OsNameFrom(ReadOsFacts(productType))) CopyText(destination, length, *name);
  return 0;
}

std::int32_t ReadProductTypeText(wchar_t* destination, std::uint32_t length) noexcept {
  CopyText(destination, length, L"N/A");
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kProductOptionsKey, KEY_READ);
  if (!key) return 0;
  wchar_t value[260] = {};
  DWORD size = std::size(value) - 1;  // bytes: half of the buffer, so that a terminator always follows
  if (RegQueryValueExW(key.Get(), L"ProductType", nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size) ==
      ERROR_SUCCESS)
    CopyText(destination, length, ProductTypeFrom(value));
  return 0;
}

}  // namespace varnel
