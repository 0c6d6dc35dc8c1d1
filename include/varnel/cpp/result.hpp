// Part of <varnel/varnel.hpp>: the results of its calls, in numbers and in words.
#pragma once

#include <varnel/varnel.h>

namespace varnel {

constexpr HRESULT SystemResult(DWORD error) noexcept {
  return static_cast<HRESULT>(0x80070000UL | error);
}

// Results of <varnel/varnel.hpp> beside those of varnel.h, by numbers of Windows.
inline constexpr HRESULT kBadText = SystemResult(ERROR_NO_UNICODE_TRANSLATION);
inline constexpr HRESULT kBadName = SystemResult(ERROR_INVALID_NAME);
inline constexpr HRESULT kReservedName = SystemResult(ERROR_OBJECT_ALREADY_EXISTS);
inline constexpr HRESULT kNullText = E_POINTER;
inline constexpr HRESULT kBadTime = SystemResult(ERROR_INVALID_TIME);
inline constexpr HRESULT kBadEventId = E_INVALIDARG;
inline constexpr HRESULT kBadPath = SystemResult(ERROR_BAD_PATHNAME);
inline constexpr HRESULT kTooDeep = SystemResult(ERROR_NESTING_NOT_ALLOWED);
inline constexpr HRESULT kNotOpen = E_HANDLE;
inline constexpr HRESULT kNoLibrary = OLE_E_BLANK;
inline constexpr HRESULT kNoMachine = SystemResult(ERROR_INVALID_STATE);
inline constexpr HRESULT kNoEvent = SystemResult(ERROR_EMPTY);
inline constexpr HRESULT kNoChild = SystemResult(ERROR_NOT_FOUND);
inline constexpr HRESULT kMachineTwice = SystemResult(ERROR_ALREADY_EXISTS);

namespace detail {

inline constexpr VarnelResultText kNoFile = {
    L"the file does not exist",
    L"Pass the full path of varnel.dll or varnel.sxs.manifest. If the component is registered, install the "
    L"package again."};
inline constexpr VarnelResultText kOtherDll = {L"the DLL is not varnel.dll",
                                               L"Pass the full path of varnel.dll."};

struct DescribedResult {
  HRESULT code;
  VarnelResultText text;
};
// The results of this header, and those results of varnel.h whose words there name methods that users of this
// header do not call.
inline constexpr DescribedResult kDescribedResults[] = {
    {kBadText,
     {L"a text is not valid Unicode, or has a character that XML does not allow",
      L"Correct the text at its source, or pass varnel::Text::Repaired(text), which replaces the invalid "
      L"parts by U+FFFD."}},
    {kBadName,
     {L"the name of an element or attribute is not an XML name",
      L"Use a name that begins with a letter or '_', goes on with letters, digits, '-', '_' and '.', and has "
      L"at most 10,000 characters."}},
    {kReservedName,
     {L"the name belongs to an element or attribute that the library writes itself",
      L"Choose another name; docs/event-format.md lists the reserved ones."}},
    {kNullText, {L"a required text is null", L"Pass a text. Most texts may be empty."}},
    {kBadTime, {L"the time is outside of the years 100 to 9999", L"Pass the time of the event, in UTC."}},
    {kBadEventId, {L"0 is not an event identifier", L"Pass an event identifier other than 0."}},
    {kBadPath,
     {L"the path is not a full path",
      L"Pass the path with its drive: Windows would search unsafe folders for any other."}},
    {kTooDeep,
     {L"the element would be more than 255 levels deep",
      L"Nest elements less deeply: XML readers stop at that depth."}},
    {kNotOpen,
     {L"the report is not open, or the element is empty, or its report has been closed",
      L"Open the report with a library and a product, and use its elements only until it is closed."}},
    {kNoLibrary,
     {L"the varnel::Library has been moved from",
      L"Use the Library object that it was moved to, or open a new one."}},
    {kNoMachine, {L"the report has no machine facts", L"Call AddMachine before Save."}},
    {kNoEvent, {L"the report has no event", L"Call AddEvent before Save."}},
    {kNoChild,
     {L"a list of children is empty of which the catalogue requires at least one",
      L"Add a child to the list, or do not report the event without one."}},
    {kMachineTwice,
     {L"the report already has its machine facts", L"Call AddMachine only once for each report."}},
    {E_FAIL,
     {L"the agent's event folder is not set, or its path is too long",
      L"Set \"Data Path\", or \"EventsPath\" for the management server's own reports, to a full path of "
      L"fewer than 260 characters; see docs/settings.md."}},
    {CO_E_NOTINITIALIZED,
     {L"COM is not initialised on this thread",
      L"Create a varnel::ComScope on each thread that uses reports, before them."}},
    {VARNEL_E_NOT_MANAGED,
     {L"the agent on this machine is not managed",
      L"Enrol the agent at the management server, or open the report with varnel::Unmanaged::kDrop."}},
    {VARNEL_E_BAD_ARGUMENT,
     {L"the file extension is too long", L"Pass an extension of at most 200 characters."}},
    {SystemResult(ERROR_FILE_NOT_FOUND), kNoFile},
    {SystemResult(ERROR_PATH_NOT_FOUND), kNoFile},
    {SystemResult(ERROR_MOD_NOT_FOUND), kNoFile},
    {E_ACCESSDENIED,
     {L"the file does not exist, or this account may not read it; after a call of a report: Windows did not "
      L"let the thread impersonate its user again",
      L"Give this account the right to read varnel.dll and its folder. If the component is registered, "
      L"install the package again. After a call of a report, impersonate the user again and repeat the "
      L"call."}},
    {SystemResult(ERROR_BAD_EXE_FORMAT),
     {L"the file is not a DLL, or it is a 32-bit DLL in a 64-bit program or the reverse",
      L"Use the 64-bit varnel.dll in 64-bit programs and the 32-bit varnel.dll in 32-bit programs."}},
    {SystemResult(ERROR_PROC_NOT_FOUND), kOtherDll},
    {CLASS_E_CLASSNOTAVAILABLE, kOtherDll},
    {E_NOINTERFACE, kOtherDll},
    {SystemResult(ERROR_SXS_CANT_GEN_ACTCTX),
     {L"Windows cannot use the manifest in this program",
      L"Keep varnel.sxs.manifest and varnel.dll in one folder, both 64-bit for a 64-bit program and both "
      L"32-bit for a 32-bit one, and pass the full path of the manifest."}},
};

}  // namespace detail

// Returns the words for a result of any call of <varnel/varnel.hpp>. Both texts are static, zero-terminated
// and ASCII.
inline VarnelResultText DescribeResult(HRESULT code) noexcept {
  for (const detail::DescribedResult& known : detail::kDescribedResults)
    if (known.code == code) return known.text;
  return VarnelDescribeResult(code);
}

}  // namespace varnel
