#include "fuzz_input.h"
#include "xml/document.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <utility>

namespace varnel::fuzz {
namespace {

using AdvXMLParser::Document;
using AdvXMLParser::Element;

enum class Kind { kOpen, kAttribute, kText, kClose, kMaxValue = kClose };

// What stands inside the root, in the order of the file.
struct Step {
  Kind kind;
  std::wstring name;
  std::wstring text;
};
using Steps = std::vector<Step>;

// A document as one text: marks that no document holds, so that texts behind each other are one text.
std::wstring Told(const Step& step) {
  if (step.kind == Kind::kText) return step.text;
  const auto mark = static_cast<wchar_t>(0x110000 + static_cast<wchar_t>(step.kind));
  return mark + step.name + mark + step.text;
}

std::wstring ConsumeText(FuzzedDataProvider& input) {
  std::wstring text;
  for (const char c : input.ConsumeRandomLengthString()) {
    const auto byte = static_cast<unsigned char>(c);
    text += static_cast<wchar_t>(byte < 0x80 ? byte : byte << 8);  // halves of surrogate pairs among them
  }
  return text;
}

Steps ConsumeSteps(FuzzedDataProvider& input) {
  constexpr const wchar_t* kNames[] = {L"E", L"EventID", L"a-b.c"};
  Steps steps;
  std::size_t depth = 0;
  while (input.remaining_bytes() > 0) {
    Step step{input.ConsumeEnum<Kind>(), {}, {}};
    const bool inStartTag = steps.empty() || steps.back().kind == Kind::kOpen;
    if (step.kind == Kind::kAttribute && !inStartTag) step.kind = Kind::kText;
    if (step.kind == Kind::kClose && depth == 0) step.kind = Kind::kOpen;
    if (step.kind == Kind::kOpen) step.name = input.PickValueInArray(kNames);
    if (step.kind == Kind::kAttribute) step.name = L"Encrypted";
    if (step.kind == Kind::kAttribute || step.kind == Kind::kText) step.text = ConsumeText(input);
    if (step.kind == Kind::kOpen) ++depth;
    if (step.kind == Kind::kClose) --depth;
    steps.push_back(std::move(step));
  }
  steps.insert(steps.end(), depth, {Kind::kClose, {}, {}});
  return steps;
}

// Every run of white space made one space, each text on its own.
Steps Collapsed(Steps steps) {
  const auto isBreak = [](wchar_t c) { return c == L'\t' || c == L'\r' || c == L'\n'; };
  const auto areBlanks = [](wchar_t a, wchar_t b) { return a == L' ' && b == L' '; };
  for (auto& [kind, name, text] : steps) {
    std::replace_if(text.begin(), text.end(), isBreak, L' ');
    text.erase(std::unique(text.begin(), text.end(), areBlanks), text.end());
  }
  return steps;
}

std::wstring Written(const Steps& steps, bool indented) {
  Document document(L"R");
  Element* at = document.Root();
  for (const auto& step : steps) {
    if (step.kind == Kind::kOpen) at = at->AddElement(step.name);
    if (step.kind == Kind::kAttribute) at->GetOrAddAttribute(step.name)->AddText(step.text);
    if (step.kind == Kind::kText) at->AddText(step.text);
    if (step.kind == Kind::kClose) at = static_cast<Element*>(at->Parent());
  }
  return document.ToString(indented);
}

std::wstring Unescaped(std::wstring_view text) {
  constexpr std::pair<std::wstring_view, wchar_t> kEntities[] = {
      {L"&lt;", L'<'}, {L"&gt;", L'>'}, {L"&amp;", L'&'}, {L"&apos;", L'\''}, {L"&quot;", L'"'}};
  std::wstring plain;
  while (!text.empty()) {
    std::pair<std::wstring_view, wchar_t> unit{text.substr(0, 1), text.front()};
    for (const auto& entity : kEntities) {
      if (text.starts_with(entity.first)) unit = entity;
    }
    Require(std::wstring_view(L"<>&'\"").find(unit.first) == std::wstring_view::npos, "markup is escaped");
    plain += unit.second;
    text.remove_prefix(unit.first.size());
  }
  return plain;
}

// Reads what a compact document may hold and nothing else.
class Reader {
 public:
  explicit Reader(std::wstring_view text) : rest_(text) {}

  std::wstring Read() {
    Require(Skip(L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>"), "the declaration comes first");
    while (!rest_.empty()) {
      if (Skip(L"</")) {
        Require(!open_.empty() && Skip(open_.back()) && Skip(L">"), "the innermost element is closed");
        Close();
      } else if (Skip(L"<")) {
        ReadStartTag();
      } else {
        told_ += Unescaped(Take(L"<"));
      }
    }
    return told_;
  }

 private:
  void ReadStartTag() {
    open_.emplace_back(Take(L" />"));
    told_ += Told({Kind::kOpen, open_.back(), {}});
    while (Skip(L" ")) {
      const std::wstring name(Take(L"="));
      Require(Skip(L"=\""), "an attribute has a value");
      told_ += Told({Kind::kAttribute, name, Unescaped(Take(L"\""))});
      Require(Skip(L"\""), "a value ends");
    }
    if (Skip(L"/")) Close();
    Require(Skip(L">"), "a start tag ends");
  }

  void Close() {
    open_.pop_back();
    told_ += Told({Kind::kClose, {}, {}});
  }

  bool Skip(std::wstring_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  std::wstring_view Take(std::wstring_view ends) {
    const std::wstring_view taken = rest_.substr(0, rest_.find_first_of(ends));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::wstring_view rest_;
  std::vector<std::wstring> open_;
  std::wstring told_;
};

// The document without its line breaks and indents, each of which must stand before a tag and fit its depth.
std::wstring Unindented(std::wstring_view text) {
  std::wstring flat;
  std::size_t depth = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text.substr(at).starts_with(L"\r\n")) {
      const std::size_t tag = text.find_first_not_of(L' ', at + 2);
      Require(tag < text.size() - 1 && text[tag] == L'<', "a line begins with a tag");
      const std::size_t levels = depth - (text[tag + 1] == L'/' ? 1 : 0);
      Require(tag - at - 2 == levels * 2, "a tag stands at its depth");
      at = tag;
    }
    if (text.substr(at).starts_with(L"</"))
      --depth;
    else if (text[at] == L'<' && text[at + 1] != L'?' && text[text.find(L'>', at) - 1] != L'/')
      ++depth;
    flat += text[at];
  }
  return flat;
}

void Check(const Steps& steps) {
  std::wstring told = Told({Kind::kOpen, L"R", {}});
  for (const auto& step : steps) told += Told(step);
  told += Told({Kind::kClose, {}, {}});
  Require(Reader(Written(steps, false)).Read() == told, "a document reads as it was put together");
  Require(Unindented(Written(steps, true)) == Written(Collapsed(steps), false), "indenting adds layout only");
}

}  // namespace
}  // namespace varnel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  varnel::fuzz::Check(varnel::fuzz::ConsumeSteps(input));
  return 0;
}
