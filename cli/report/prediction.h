#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::tool {

// The report of one event to predict.
struct Question {
  std::wstring softwareId;
  std::int32_t event = 0;
  std::int32_t severity = 0;
  std::uint64_t size = 0;    // size of the document in bytes
  bool managedOnly = false;  // the product calls Initialize3
};

// A rule of the library and its outcome.
struct Rule {
  const char* call;  // the method that applies it
  std::wstring name;
  std::wstring finding;
};

// The outcome of a report with one event. Placeholders stand for the parts of texts that are unknown
// beforehand: <object>, <time>, <GUID>, <number>.
struct Prediction {
  std::vector<Rule> rules;  // in the library's order; the last one decides
  HRESULT result = S_OK;    // returned by the last rule's method
  std::wstring remedy;      // for the rule that decided, in whole sentences; empty if the file is written
  bool isWritten = false;
  std::vector<std::wstring> lines;  // the log lines at level 5
  std::wstring folder;              // empty if an earlier rule decided, or the agent has set none
  std::wstring file;                // name with placeholders; empty if no file is written
};

// Predicts a save with the library's own rules, for this machine, this account and this moment. Writes
// nothing.
[[nodiscard]] Prediction Predict(const Question& question);

}  // namespace varnel::tool
