#pragma once

#include <cwchar>
#include <iterator>

namespace varnel {

// Why an event file was not written, kept until the save mutex is free again: a console that nobody reads may
// hold a log line up, and no other process should wait for that. A copy, since the text it comes from is that
// of the latest failure on any thread; longer ones are cut. Without the heap.
class FailureReason {
 public:
  void Set(const wchar_t* text) noexcept { std::wcsncpy(text_, text, std::size(text_) - 1); }
  const wchar_t* Text() const noexcept { return text_; }

 private:
  wchar_t text_[1024] = {};
};

}  // namespace varnel
