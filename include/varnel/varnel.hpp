// varnel.hpp - event reports from C++17. Includes all of <varnel/cpp/>; needs the standard library and the
// Windows SDK; links ole32 and oleaut32.
//
//   const varnel::ComScope com;
//   const varnel::Report report(varnel::Library::Registered(), product);
//   report.AddMachine();
//   report.AddEvent(L"MalwareDetected", 1024, 3).SetAttribute("Engine", "heuristics");
//   report.Save();
//
// Every call has two forms. Save() throws varnel::Error, which says what was wrong and what to do; TrySave()
// returns the HRESULT and does not throw. Without exceptions (-fno-exceptions) only the second form compiles.
//
// A call that fails adds none of the elements, attributes and facts that the caller asked for. If all calls
// succeed, `varnel check` accepts the event file, whatever the arguments are, unless the agent's size limit
// is above its default.
//
// Threads: one report and its elements belong to one thread at a time. Different reports are independent.
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
