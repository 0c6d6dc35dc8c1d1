// Part of <varnel/varnel.hpp>: the results of its calls, in numbers and in words.
#pragma once

#include <varnel/varnel.h>

namespace varnel {

constexpr HRESULT SystemResult(DWORD error) noexcept {
  return static_cast<HRESULT>(0x80070000UL | error);
}

// Results of this header's own, beside those of varnel.h. The numbers are Windows's.
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
inline constexpr HRESULT kMachineTwice = SystemResult(ERROR_ALREADY_EXISTS);

namespace detail {

inline constexpr VarnelResultText kNoFile = {
    L"the file is not there",
    L"Pass the full path of varnel.dll, or of varnel.sxs.manifest; where the component is registered, "
    L"install it again."};
inline constexpr VarnelResultText kOtherDll = {L"the DLL is not varnel.dll",
                                               L"Pass the full path of varnel.dll."};

struct DescribedResult {
  HRESULT code;
  VarnelResultText text;
};
// Results of this header, and those of varnel.h whose words there name methods that its users do not call.
inline constexpr DescribedResult kDescribedResults[] = {
    {kBadText,
     {L"a text is not well-formed Unicode, or holds a character that XML cannot hold",
      L"Mend it where it comes from, or pass varnel::Text::Repaired(text), which puts U+FFFD there."}},
    {kBadName,
     {L"the name of an element or attribute is not an XML name",
      L"Begin it with a letter or '_', and go on with letters, digits, '-', '_' and '.', at most 10,000 "
      L"characters."}},
    {kReservedName,
     {L"the name belongs to an element or attribute that the library writes itself",
      L"Choose another name; docs/event-format.md lists the reserved ones."}},
    {kNullText, {L"a text that is needed is null", L"Pass a text; most may be empty."}},
    {kBadTime, {L"the time lies outside of the years 100 to 9999", L"Pass the time of the event, in UTC."}},
    {kBadEventId, {L"0 is not an event identifier", L"Pass the number of the event, other than 0."}},
    {kBadPath,
     {L"the path is not a full one",
      L"Pass the path with its drive; what else would be searched for it is not safe."}},
    {kTooDeep,
     {L"the element would be more than 255 levels deep", L"Nest less deeply: readers of XML stop there."}},
    {kNotOpen,
     {L"the report is not open, or the element belongs to no open report",
      L"Open the report with a library and a product, and use elements only until it is closed."}},
    {kNoLibrary,
     {L"the varnel::Library was moved from", L"Use the library that it was moved to, or open it again."}},
    {kNoMachine, {L"the report has no facts of the machine yet", L"Call AddMachine before Save."}},
    {kNoEvent, {L"the report has no event yet", L"Call AddEvent before Save."}},
    {kMachineTwice, {L"the report already has the facts of the machine", L"Call AddMachine once a report."}},
    {E_FAIL,
     {L"the agent's event folder is not set, or its path is too long",
      L"Set \"Data Path\", or \"EventsPath\" for the management server's own reports, to fewer than 260 "
      L"characters; docs/settings.md has both."}},
    {CO_E_NOTINITIALIZED,
     {L"COM is not initialised on this thread",
      L"Keep a varnel::ComScope on each thread that makes reports."}},
    {VARNEL_E_NOT_MANAGED,
     {L"the agent on this machine is not managed",
      L"Enrol the agent at the management server, or open the report with varnel::Unmanaged::kDrop."}},
    {VARNEL_E_BAD_ARGUMENT,
     {L"the file extension is too long", L"Pass an extension of at most 200 characters."}},
    {SystemResult(ERROR_FILE_NOT_FOUND), kNoFile},
    {SystemResult(ERROR_PATH_NOT_FOUND), kNoFile},
    {SystemResult(ERROR_MOD_NOT_FOUND), kNoFile},
    {E_ACCESSDENIED,
     {L"the file is not there, or this account may not use it",
      L"Let this account read varnel.dll and its folder; where the component is registered, install it "
      L"again."}},
    {SystemResult(ERROR_BAD_EXE_FORMAT),
     {L"the file is not a DLL of this program's kind, 32-bit or 64-bit",
      L"Use the 64-bit varnel.dll in 64-bit programs and the 32-bit one in 32-bit programs."}},
    {SystemResult(ERROR_PROC_NOT_FOUND), kOtherDll},
    {CLASS_E_CLASSNOTAVAILABLE, kOtherDll},
    {E_NOINTERFACE, kOtherDll},
    {SystemResult(ERROR_SXS_CANT_GEN_ACTCTX),
     {L"the manifest cannot be used by this program",
      L"Keep varnel.sxs.manifest and varnel.dll, both 32-bit or both 64-bit as the program is, in one folder "
      L"and pass the full path of the first."}},
};

}  // namespace detail

// What a result of any call of <varnel/varnel.hpp> means, and what to do. Static, terminated, ASCII.
inline VarnelResultText DescribeResult(HRESULT code) noexcept {
  for (const detail::DescribedResult& known : detail::kDescribedResults)
    if (known.code == code) return known.text;
  return VarnelDescribeResult(code);
}

}  // namespace varnel
