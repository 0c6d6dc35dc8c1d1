#pragma once

#include <windows.h>

namespace varnel {

// What the event objects return beyond the standard codes. Callers test these numbers.
constexpr HRESULT kAgentNotManaged = static_cast<HRESULT>(0xFFFFF703);       // -2301
constexpr HRESULT kEventDisabled = static_cast<HRESULT>(0xFFFFF704);         // -2300
constexpr HRESULT kEventFileNotWritten = static_cast<HRESULT>(0xFFFFFFD7);   // -41
constexpr HRESULT kTooLargeOrNotWritten = static_cast<HRESULT>(0xFFFFFFC9);  // -55
constexpr HRESULT kBadArgument = static_cast<HRESULT>(0xFFFFFFF3);           // -13
constexpr HRESULT kNotAnAgentComponent = static_cast<HRESULT>(0xFFFFFFFB);   // -5

// What the agent's callback component answers when it will not have the object.
constexpr HRESULT kRegistrationRefused = static_cast<HRESULT>(0xFFFFF95B);  // -1701

// What a result means, in words for those who see no table of numbers.
struct ResultText {
  const wchar_t* meaning;  // what was wrong: a clause without a full stop
  const wchar_t* remedy;   // what to do: whole sentences
};

// The words for a failure; general ones for a code that is not among the results of the event objects.
[[nodiscard]] ResultText DescribeResult(HRESULT code) noexcept;

}  // namespace varnel
