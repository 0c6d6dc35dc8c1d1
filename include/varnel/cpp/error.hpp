// Part of <varnel/varnel.hpp>: its exception, and the check that the throwing calls end with.
#pragma once

#include <string>
#include <varnel/cpp/text.hpp>

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define VARNEL_EXCEPTIONS 1
#include <stdexcept>
#endif

namespace varnel {

#if defined(VARNEL_EXCEPTIONS)
// Thrown by a call that failed. what() is "CALL(ARGUMENTS): MEANING (CODE). REMEDY" in ASCII. The brackets
// are left out if no argument helps to find the mistake.
class Error : public std::runtime_error {
 public:
  Error(const char* call, HRESULT code, const std::string& arguments = {})
      : std::runtime_error(Message(call, code, arguments)), code_(code) {}
  HRESULT Code() const noexcept { return code_; }

 private:
  static std::string Message(const char* call, HRESULT code, const std::string& arguments) {
    char digits[8];
    for (int i = 0; i < 8; ++i)
      digits[i] = "0123456789ABCDEF"[static_cast<unsigned long>(code) >> (28 - 4 * i) & 15];
    const VarnelResultText text = DescribeResult(code);
    std::string message = call;
    if (!arguments.empty()) message.append("(").append(arguments).append(")");
    message += ": ";
    for (const wchar_t* c = text.meaning; *c; ++c) message += static_cast<char>(*c);
    message.append(" (0x").append(digits, 8).append("). ");
    for (const wchar_t* c = text.remedy; *c; ++c) message += static_cast<char>(*c);
    return message;
  }

  HRESULT code_;
};
#endif

namespace detail {

// Returns a text for a message: in quotation marks and in ASCII, with \uXXXX for every other UTF-16 unit.
// Cuts a text after 60 units and adds its size.
inline std::string Quoted(std::wstring_view text) {
  constexpr std::size_t kShown = 60;
  std::string quoted = "\"";
  for (const wchar_t unit : text.substr(0, kShown)) {
    if (unit >= 0x20 && unit < 0x7F) {
      quoted += static_cast<char>(unit);
      continue;
    }
    quoted += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) quoted += "0123456789ABCDEF"[unit >> shift & 15];
  }
  if (text.size() > kShown) return quoted + "...\", " + std::to_string(text.size()) + " characters";
  return quoted + "\"";
}
inline std::string Quoted(const Text& text) {
  if (text.Get()) return Quoted(text.View());
  if (text.Status() == E_OUTOFMEMORY) return "a text for which there is no memory";
  return text.Status() == kBadText ? "not UTF-8" : "null";
}

// Ends every call that throws: Check throws Error if the Try form has failed, with the arguments that
// `arguments()` returns. It is a template parameter of those calls: without exceptions only a call that is
// used fails to compile, and the compiler's message names both forms.
struct Throwing {
  struct NoArguments {
    std::string operator()() const { return {}; }
  };
#if defined(VARNEL_EXCEPTIONS)
  template <class Arguments = NoArguments>
  static void Check(const char* call, HRESULT result, const Arguments& arguments = {}) {
    if (FAILED(result)) throw Error(call, result, arguments());
  }
#else
  template <class Arguments = NoArguments>
  static void Check(const char*, HRESULT, const Arguments& = {}) {
    static_assert(
        sizeof(Arguments) == 0,
        "varnel: this call throws, and exceptions are switched off. Use its Try form, which returns "
        "an HRESULT: TrySave() for Save(), TryOpen() for the constructor of a Report.");
  }
#endif
};

}  // namespace detail
}  // namespace varnel
