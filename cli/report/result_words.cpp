#include "report/result_words.h"

#include "varnel/cpp/result.hpp"

#include <charconv>
#include <cstdint>
#include <cstdio>

namespace varnel::tool {
namespace {

constexpr struct {
  HRESULT code;
  const char* name;
} kNames[] = {
    {S_OK, "S_OK"},
    {E_FAIL, "E_FAIL"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
    {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG"},
    {CO_E_NOTINITIALIZED, "CO_E_NOTINITIALIZED"},
    {VARNEL_E_NOT_MANAGED, "VARNEL_E_NOT_MANAGED"},
    {VARNEL_E_EVENT_DISABLED, "VARNEL_E_EVENT_DISABLED"},
    {VARNEL_E_NOT_WRITTEN, "VARNEL_E_NOT_WRITTEN"},
    {VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, "VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN"},
    {VARNEL_E_BAD_ARGUMENT, "VARNEL_E_BAD_ARGUMENT"},
    {VARNEL_E_NOT_AGENT_COMPONENT, "VARNEL_E_NOT_AGENT_COMPONENT"},
    // Results of varnel.hpp.
    {kBadText, "ERROR_NO_UNICODE_TRANSLATION"},
    {kBadName, "ERROR_INVALID_NAME"},
    {kReservedName, "ERROR_OBJECT_ALREADY_EXISTS"},
    {kNullText, "E_POINTER"},
    {kBadTime, "ERROR_INVALID_TIME"},
    {kBadEventId, "E_INVALIDARG"},
    {kTooDeep, "ERROR_NESTING_NOT_ALLOWED"},
    {kNotOpen, "E_HANDLE"},
    {kNoLibrary, "OLE_E_BLANK"},
    {kNoMachine, "ERROR_INVALID_STATE"},
    {kNoEvent, "ERROR_EMPTY"},
    {kMachineTwice, "ERROR_ALREADY_EXISTS"},
    {kBadPath, "ERROR_BAD_PATHNAME"},
    {SystemResult(ERROR_FILE_NOT_FOUND), "ERROR_FILE_NOT_FOUND"},
    {SystemResult(ERROR_PATH_NOT_FOUND), "ERROR_PATH_NOT_FOUND"},
    {SystemResult(ERROR_MOD_NOT_FOUND), "ERROR_MOD_NOT_FOUND"},
    {E_ACCESSDENIED, "E_ACCESSDENIED"},
    {SystemResult(ERROR_BAD_EXE_FORMAT), "ERROR_BAD_EXE_FORMAT"},
    {SystemResult(ERROR_PROC_NOT_FOUND), "ERROR_PROC_NOT_FOUND"},
    {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE"},
    {E_NOINTERFACE, "E_NOINTERFACE"},
    {SystemResult(ERROR_SXS_CANT_GEN_ACTCTX), "ERROR_SXS_CANT_GEN_ACTCTX"},
};

// Returns a text of the headers, which is ASCII.
std::string Narrow(std::wstring_view ascii) {
  std::string text;
  for (const wchar_t unit : ascii) text += static_cast<char>(unit);
  return text;
}

}  // namespace

ResultWords WordsOf(HRESULT code) {
  char digits[16];
  std::snprintf(digits, sizeof(digits), "0x%08X", static_cast<unsigned>(code));
  ResultWords words{digits, "", "the call succeeded", ""};
  for (const auto& [known, name] : kNames)
    if (known == code) words.name = name;
  if (SUCCEEDED(code)) return words;
  // The methods' words take precedence, because the product may not use the C++ header.
  VarnelResultText text = VarnelDescribeResult(code);
  if (std::wstring_view(text.meaning) == L"the call failed") text = DescribeResult(code);
  words.meaning = Narrow(text.meaning);
  words.remedy = Narrow(text.remedy);
  return words;
}

std::optional<HRESULT> ParseResult(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || (isHexadecimal && number < 0)) return std::nullopt;
  if (number < INT32_MIN || number > UINT32_MAX) return std::nullopt;
  return static_cast<HRESULT>(number);
}

}  // namespace varnel::tool
