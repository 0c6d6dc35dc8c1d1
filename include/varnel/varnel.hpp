// varnel.hpp - event reports from C++17. The one header to include; needs the standard library and the
// Windows SDK, links ole32 and oleaut32.
//
//   const varnel::ComScope com;
//   const varnel::Report report(varnel::Library::Registered(), product);
//   report.AddMachine();
//   report.AddEvent(L"MalwareDetected", 1024, 3).SetAttribute("Engine", "heuristics");
//   report.Save();
//
// Every call stands here twice. Save() throws varnel::Error, which says what was wrong and what to do;
// TrySave() does not throw and returns the HRESULT. Without exceptions (-fno-exceptions) there is only the
// second form.
//
// A call that fails adds no element, attribute or fact that the caller asked for. Calls that succeed make an
// event document that `varnel check` accepts, whatever their arguments are.
//
// Threads: one report and its elements belong to one thread at a time; different reports are independent.
#pragma once

#if defined(_MSVC_LANG) ? _MSVC_LANG < 201703L : !defined(__cplusplus) || __cplusplus < 201703L
#error "varnel/varnel.hpp needs C++17 (-std=c++17, /std:c++17); for C there is varnel/varnel.h"
#else

#include <varnel/cpp/element.hpp>
#include <varnel/cpp/error.hpp>
#include <varnel/cpp/library.hpp>
#include <varnel/cpp/report.hpp>
#include <varnel/cpp/result.hpp>
#include <varnel/cpp/text.hpp>

#endif
