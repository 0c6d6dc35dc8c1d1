#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::tool {

struct Question {
  std::wstring softwareId;
  std::int32_t event = 0;
  std::int32_t severity = 0;
  std::uint64_t size = 0;    // bytes of the document
  bool managedOnly = false;  // set up with Initialize3
};

// A rule that the library applies.
struct Rule {
  const char* call;  // the method that applies it
  std::wstring name;
  std::wstring finding;
};

// What becomes of a report of one event. Where names are not known beforehand their forms stand: <object>,
// <time>, <GUID>, <number>.
struct Prediction {
  std::vector<Rule> rules;  // in the library's order; the last one decides
  HRESULT result = S_OK;    // of the last rule's method
  std::wstring remedy;      // by the rule that decided: whole sentences; empty when the file is written
  bool isWritten = false;
  std::vector<std::wstring> lines;  // that are logged at level 5
  std::wstring folder;              // empty when the rules do not get as far, or the agent has set none
  std::wstring file;                // the form of its name; empty when none is written
};

// By the library's own rules, for this machine, this account and this moment. Writes nothing.
[[nodiscard]] Prediction Predict(const Question& question);

}  // namespace varnel::tool
