#pragma once

#include <windows.h>

namespace varnel {

// What a result of the event objects means, in words for those who see no table of numbers.
struct ResultText {
  const wchar_t* meaning;  // what was wrong: a clause without a full stop
  const wchar_t* remedy;   // what to do: whole sentences
};

// The words for a failure; general ones for a code that is not among the results of the event objects.
[[nodiscard]] ResultText DescribeResult(HRESULT code) noexcept;

}  // namespace varnel
