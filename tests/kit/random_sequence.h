#pragma once

#include "support/library.h"
#include "varnel/varnel.hpp"

#include <array>
#include <limits>
#include <random>
#include <sstream>

namespace varnel::test {

inline constexpr wchar_t kAgentComponent[] = L"ORBAAGENT_1";
inline constexpr const wchar_t* kReserved[] = {
    L"EventID",       L"Severity",    L"GMTTime",        L"MachineInfo",  L"MachineName",
    L"AgentGUID",     L"IPAddress",   L"OSName",         L"UserName",     L"TimeZoneBias",
    L"RawMACAddress", L"ProductName", L"ProductVersion", L"ProductFamily"};
// Characters with a meaning in XML, and both sides of each border of the characters that names and texts
// allow.
inline constexpr wchar_t kUnits[] =
    L"\0\x1\t\r\n\x1F "
    L"&<>\"'-./09:;@AZ[_az{\x7F\x85\xB6\xB7\xB8\xC0\xD7\xF7\xFF\x2FF\x300\x36F\x370\x37D\x37E\x37F"
    L"\x1FFF\x2000\x200B\x200C\x200D\x200E\x2028\x203F\x2040\x2041\x2070\x218F\x2190\x2BFF\x2C00\x2FEF\x2FF0"
    L"\x3000"
    L"\x3001\xD7FF\xD800\xDB7F\xDB80\xDBFF\xDC00\xDFFF\xE000\xF8FF\xF900\xFDCF\xFDD0\xFDEF\xFDF0\xFFFD\xFFFE"
    L"\xFFFF";

// One sequence, all of it made from the seed, with a line for each call.
class Sequence {
 public:
  Sequence(unsigned seed, const varnel::Library& library) : library_(library), random_(seed) {
    version_ = "sequence " + std::to_string(seed);
    Open(false);
    for (unsigned calls = 20 + Below(80); calls > 0; --calls) Call();
    if (!report_) Open(false);
    if (Below(8)) Log("AddMachine", report_.TryAddMachine());
    if (Below(8)) Log("AddEvent", report_.TryAddEvent("E", 1, 1));
    Save();
  }

  std::string Lines() const { return version_ + lines_.str(); }
  std::size_t Saved() const { return saved_; }

 private:
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }

  std::wstring Units() {
    std::wstring text;
    for (unsigned size = Below(5); size > 0; --size) text += kUnits[Below(std::size(kUnits) - 1)];
    return text;
  }
  // Logged as it is made: a Text is given away.
  Text Logged(const std::wstring& text) {
    std::string shown = "\"";
    for (const wchar_t unit : text)
      if (unit >= 0x20 && unit < 0x7F) {
        shown += static_cast<char>(unit);
      } else {
        char code[8];
        std::snprintf(code, sizeof(code), "\\u%04X", unsigned{unit});
        shown += code;
      }
    lines_ << '\n' << "  with " << shown << '"';
    return Text(text);
  }
  Text Name() {
    switch (Below(8)) {
      case 0: {
        Text from(L"Moved");
        const Text to(std::move(from));
        lines_ << "\n  with a text that was moved from";
        return from;
      }
      case 1:
      case 2:
        return Logged(kReserved[Below(std::size(kReserved))]);
      case 3:
      case 4:
        return Logged(Units());
      case 5:
        return Logged(L"N" + Units());
      default:
        return Logged(L"Name");
    }
  }
  Text Value() {
    switch (Below(4)) {
      case 0:
        return nullptr;
      case 1:
        return Text::Repaired(Units());
      default:
        return Logged(Units());
    }
  }
  std::chrono::system_clock::time_point Time() {
    const auto now = std::chrono::system_clock::now();
    return Below(4) ? now : now + std::chrono::hours(24 * 365) * (static_cast<int>(Below(1000)) - 500);
  }
  Element& Any() { return elements_[Below(static_cast<unsigned>(elements_.size()))]; }
  // Mostly one that is not empty.
  Element& Used() {
    for (unsigned tries = 8; tries > 0; --tries)
      if (Element& element = Any()) return element;
    return Any();
  }

  void Log(const char* call, HRESULT result) {
    lines_ << '\n' << call << ": " << Narrow(DescribeResult(result).meaning);
  }

  void Open(bool anyNames) {
    Product product{Below(2) ? kServer : kAgentComponent, "Root",   "Product",
                    Below(4) ? Text("Name") : Value(),    version_, ""};
    if (anyNames) product.rootName = Name(), product.elementName = Name();
    Log("Open", report_.TryOpen(library_, product));
  }
  void Save() {
    const bool agentOnly = Below(4) == 0;
    const HRESULT result =
        agentOnly ? report_.TrySaveAgentEventOnly(kAgentComponent, "abc") : report_.TrySave();
    Log(agentOnly ? "SaveAgentEventOnly" : "Save", result);
    saved_ += result == S_OK;
  }
  void Call() {
    Element& from = Used();
    Element& to = Any();
    switch (Below(20)) {
      case 0:
        return Below(4) ? Log("Close", report_.TryClose()) : Open(true);
      case 1:
        return Log("AddMachine", report_.TryAddMachine({Value(), Value()}));
      case 2:
        return Log("MachineElement", report_.TryGetMachineElement(to));
      case 3:
        return Log("ProductElement", report_.TryGetProductElement(to));
      case 4:
        return Save();
      case 5:
        for (unsigned levels = Below(300); levels > 0; --levels)
          (void)from.TryAddChild("Deep", nullptr, &from);
        return Log("300 times AddChild", S_OK);
      case 6:
      case 7:
      case 8: {
        const int ids[] = {0, 1, -1, 1024, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
        return Log("AddEvent", report_.TryAddEvent(Name(), ids[Below(6)], ids[Below(6)], Time(), &to));
      }
      case 9:
      case 10:
        return Log("AddSibling", from.TryAddSibling(Name(), Value(), Below(4) ? &to : nullptr));
      case 11:
      case 12:
        return Log("SetAttribute", from.TrySetAttribute(Name(), Value()));
      case 13:
        return Log("SetAttribute", from.TrySetAttribute(Name(), Below(2) ? -1LL : 1LL));
      case 14:
        from = std::move(to);
        return Log("an element moved", S_OK);
      default:
        return Log("AddChild", from.TryAddChild(Name(), Value(), Below(4) ? &to : nullptr));
    }
  }

  const varnel::Library& library_;
  std::mt19937 random_;
  std::string version_;
  std::ostringstream lines_;
  varnel::Report report_;
  std::array<Element, 5> elements_;
  std::size_t saved_ = 0;
};

}  // namespace varnel::test
