#pragma once

#include <windows.h>

#include <string>

namespace varnel::bench {

// The agent's settings for the reports, in the machine's registry of a private Wine prefix.
class Agent {
 public:
  Agent();
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  std::wstring agentEvents;
  std::wstring serverEvents;
  std::string filterFile;

  // Deletes the event files and returns the content of the last one.
  std::string TakeFiles() const;

 private:
  std::wstring root_;
};

// Make only the Windows calls that the contract requires of an operation, each once. The two saves also
// convert the text to UTF-8.
void BareEvent(const Agent& agent);
void BareAgentSave(const Agent& agent, const std::wstring& text, HANDLE mutex);
void BareServerSave(const Agent& agent, const std::wstring& text, HANDLE mutex);

}  // namespace varnel::bench
