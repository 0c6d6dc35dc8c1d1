// Outside Windows, in the place of <varnel/system.h>: the numbers and types of Windows that the results of
// <varnel/cpp/result.hpp> are made of. tests/tool/explain_test.py compares the results on both systems.
#pragma once

#include <cstdint>

using HRESULT = std::int32_t;
using DWORD = std::uint32_t;

constexpr bool SUCCEEDED(HRESULT result) {
  return result >= 0;
}

// Results, as winerror.h has them.
constexpr HRESULT S_OK = 0;
constexpr auto E_FAIL = static_cast<HRESULT>(0x80004005U);
constexpr auto E_POINTER = static_cast<HRESULT>(0x80004003U);
constexpr auto E_NOINTERFACE = static_cast<HRESULT>(0x80004002U);
constexpr auto E_ACCESSDENIED = static_cast<HRESULT>(0x80070005U);
constexpr auto E_HANDLE = static_cast<HRESULT>(0x80070006U);
constexpr auto E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
constexpr auto E_INVALIDARG = static_cast<HRESULT>(0x80070057U);
constexpr auto OLE_E_BLANK = static_cast<HRESULT>(0x80040007U);
constexpr auto CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111U);
constexpr auto REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154U);
constexpr auto CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0U);

// System errors.
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_NOT_FOUND = 1168;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_BAD_PATHNAME = 161;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_NESTING_NOT_ALLOWED = 215;
constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
constexpr DWORD ERROR_INVALID_TIME = 1901;
constexpr DWORD ERROR_EMPTY = 4306;
constexpr DWORD ERROR_OBJECT_ALREADY_EXISTS = 5010;
constexpr DWORD ERROR_INVALID_STATE = 5023;
constexpr DWORD ERROR_SXS_CANT_GEN_ACTCTX = 14001;
