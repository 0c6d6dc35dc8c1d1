#pragma once

#include <cstdint>

namespace varnel {

// Receives every line that passes the filter. Called on the thread that logs, without a lock.
class zelkor_LogSink {
 public:
  // Both texts are zero-terminated, in the ANSI code page, and valid for the call only. Must not throw.
  virtual void OnLine(std::int32_t level, const char* facility, const char* text) = 0;

 protected:
  ~zelkor_LogSink() = default;
};

class DefaultLogSinkClass final : public zelkor_LogSink {
 public:
  void OnLine(std::int32_t, const char*, const char*) override {}
};

}  // namespace varnel
