#pragma once

#include <windows.h>

#include <string>

namespace varnel::bench {

// The agent that reports go to, in the machine's own registry: that of a private Wine prefix.
class Agent {
 public:
  Agent();
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  std::wstring agentEvents;
  std::wstring serverEvents;
  std::string filterFile;

  // Deletes the event files. Returns the bytes of the last one.
  std::string TakeFiles() const;

 private:
  std::wstring root_;
};

// The system calls of an operation with nothing else: what the contract asks for, each once. The two saves
// convert the text to UTF-8, too.
void BareEvent(const Agent& agent);
void BareAgentSave(const Agent& agent, const std::wstring& text, HANDLE mutex);
void BareServerSave(const Agent& agent, const std::wstring& text, HANDLE mutex);

}  // namespace varnel::bench
