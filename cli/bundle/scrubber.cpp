#include "bundle/scrubber.h"

#include "bundle/encoded_text.h"
#include "console/utf8.h"

#include <algorithm>
#include <array>
#include <optional>

namespace varnel::tool {
namespace {

constexpr int kDeepest = 2;                // encodings within encodings
constexpr std::size_t kLongestPart = 256;  // longer values are searched in parts

// Names of accounts, folders and machines that tell nothing about anyone, and addresses of every machine.
constexpr std::array<std::u32string_view, 24> kCommonNames = {U"system",
                                                              U"local service",
                                                              U"network service",
                                                              U"administrator",
                                                              U"administrators",
                                                              U"guest",
                                                              U"public",
                                                              U"default",
                                                              U"all users",
                                                              U"default user",
                                                              U"root",
                                                              U"everyone",
                                                              U"nt authority",
                                                              U"builtin",
                                                              U"workgroup",
                                                              U"localhost",
                                                              U"unknown",
                                                              U"(null)",
                                                              U"user",
                                                              U"127.0.0.1",
                                                              U"0.0.0.0",
                                                              U"255.255.255.255",
                                                              U"::1",
                                                              U"::"};

bool IsCommonName(std::u32string_view folded) {
  return std::find(kCommonNames.begin(), kCommonNames.end(), folded) != kCommonNames.end();
}

bool IsSearched(std::u32string_view folded) {
  const bool isNumber = folded.find_first_not_of(U"0123456789") == folded.npos;
  const std::size_t least = isNumber ? 4 : 2;
  return folded.size() >= least && !IsCommonName(folded);
}

std::u32string_view Trimmed(std::u32string_view text) {
  constexpr std::u32string_view kEnds = U" {}";
  const std::size_t first = text.find_first_not_of(kEnds);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kEnds) + 1 - first);
}

bool IsWholeValue(Form form) {
  return form == Form::kIp || form == Form::kMac || form == Form::kMail || form == Form::kSid;
}

// Returns what FindPatterns recognises as the whole text.
std::optional<Recognised> WholePattern(const Units& folded) {
  std::optional<Recognised> whole;
  FindPatterns(folded, [&](Recognised found) {
    if (IsWholeValue(found.form) && found.first == 0 && found.end == folded.size()) whole = std::move(found);
  });
  return whole;
}

// Returns 0123456789ab with the separators that the address has in the text.
std::string SeparatedAs(const Units& folded, const Recognised& address, const std::string& digits) {
  const std::size_t group = address.end - address.first == 14 ? 4 : 2;
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && i % group == 0) text += static_cast<char>(folded[address.first + group].code);
    text += digits[i];
  }
  return text;
}

}  // namespace

void Scrubber::Add(Form form, std::u32string_view folded) {
  folded = Trimmed(folded);
  if (!IsSearched(folded)) return;
  const auto keep = [&](std::u32string_view text, std::u32string_view value) {
    Known& known = known_.try_emplace(Utf8Of(text), Known{form, Utf8Of(value)}).first->second;
    known.form = std::min(known.form, form);
  };
  for (std::size_t at = 0; folded.size() > kLongestPart && at < folded.size(); at += kLongestPart) {
    const auto part = folded.substr(std::min(at, folded.size() - kLongestPart), kLongestPart);
    keep(part, part);
  }
  if (folded.size() > kLongestPart) return;
  keep(folded, folded);
  std::u32string inAddress(folded);  // as forms in web addresses have blanks
  std::replace(inAddress.begin(), inAddress.end(), U' ', U'+');
  if (inAddress != folded) keep(inAddress, folded);
}

void Scrubber::Learn(Form form, std::string_view value) {
  const std::vector<Units> readings = ReadingsOf(value);
  if (const auto whole = WholePattern(Folded(readings.front()))) return LearnFrom(value);
  Add(form, TextOf(Folded(readings.front())));
  if (readings.size() > 1) Add(form, TextOf(Folded(readings.back())));
  // A log has each line of a text in a line of its own.
  constexpr std::size_t kShortestLine = 5;
  for (std::size_t at = 0, end = value.find('\n'); end != value.npos || at > 0; end = value.find('\n', at)) {
    const std::u32string line =
        TextOf(Folded(ReadUnits(value.substr(at, end == value.npos ? end : end - at))));
    if (line.size() >= kShortestLine) Add(form, line);
    if (end == value.npos) break;
    at = end + 1;
  }
}

void Scrubber::LearnName(Form form, std::string_view name) {
  Learn(form, name);
  const std::u32string folded = TextOf(Folded(ReadUnits(name)));
  if (form == Form::kMachine) {
    const std::size_t dot = folded.find('.');
    Add(form, folded.substr(0, dot));
    if (dot != folded.npos) Add(form, folded.substr(dot + 1));
    return;
  }
  for (std::size_t at = 0; at <= folded.size();) {
    const std::size_t end = std::min(folded.find_first_of(U"/@ ", at), folded.size());
    Add(form, folded.substr(at, end - at));
    at = end + 1;
  }
}

void Scrubber::LearnFrom(std::string_view text) {
  LearnFrom(text, 0);
}

void Scrubber::LearnFrom(std::string_view text, int depth) {
  for (const Units& reading : ReadingsOf(text)) {
    FindPatterns(Folded(reading), [this](const Recognised& found) {
      if (found.form == Form::kMac) Add(found.form, std::u32string(found.value.begin(), found.value.end()));
      if (found.form == Form::kMachine) LearnName(found.form, found.value);
      if (found.form == Form::kMail) Learn(Form::kUser, found.value.substr(0, found.value.find('@')));
      if (found.form != Form::kUser) return;
      Learn(found.form, found.value);
      // Without a slash after it, the name may go on with the words of a sentence.
      Learn(found.form, found.value.substr(0, found.value.find(' ')));
    });
    if (depth < kDeepest)
      FindEncoded(reading, [&](const EncodedText& encoded) {
        for (const std::string& decoded : {encoded.decoded, FromUtf16(encoded.decoded, false)})
          if (IsPlainText(decoded)) LearnFrom(decoded, depth + 1);
      });
  }
}

void Scrubber::FinishLearning() {
  std::vector<std::u32string> values;
  for (const auto& [text, known] : known_) values.push_back(TextOf(ReadUnits(text)));
  index_ = ValueIndex(std::move(values));
}

const std::string& Scrubber::StandInOf(Form form, const std::string& value) {
  const auto found = known_.find(value);
  return found == known_.end() ? standIns_.For(form, value)
                               : standIns_.For(found->second.form, found->second.value);
}

std::string Scrubber::StandInFor(Form form, std::string_view value) {
  const Units folded = Folded(ReadUnits(value));
  const std::u32string whole = TextOf(folded);
  const std::u32string_view text = Trimmed(whole);
  if (text.empty() || IsCommonName(text)) return std::string(value);
  ++count_;
  if (const auto pattern = WholePattern(folded)) {
    const std::string& standIn = StandInOf(pattern->form, pattern->value);
    return pattern->form == Form::kMac ? SeparatedAs(folded, *pattern, standIn) : standIn;
  }
  if (form == Form::kIp) form = Form::kPersonal;
  // A typed value gets the form of its type, whatever else it is known as.
  const std::string& standIn =
      form <= Form::kSha256 ? standIns_.For(form, Utf8Of(text)) : StandInOf(form, Utf8Of(text));
  return form == Form::kGuid && value.starts_with('{') ? "{" + standIn + "}" : standIn;
}

bool Scrubber::Knows(std::string_view value) const {
  return known_.contains(Utf8Of(Trimmed(TextOf(Folded(ReadUnits(value))))));
}

void Scrubber::AddPattern(const Units& folded, const Recognised& found, std::vector<Span>& spans) {
  if ((found.form == Form::kUser || found.form == Form::kMachine) &&
      IsCommonName(TextOf(ReadUnits(found.value))))
    return;
  std::string standIn = StandInOf(found.form, found.value);
  if (found.form == Form::kMac) standIn = SeparatedAs(folded, found, standIn);
  spans.push_back({folded[found.first].begin, folded[found.end - 1].end, std::move(standIn)});
}

bool Scrubber::HasValue(const Units& reading, bool isPlain) const {
  constexpr std::size_t kNotByChance = 5;  // characters of a value between any bytes
  const Units folded = Folded(reading);
  bool has = false;
  index_.Search(folded,
                [&](std::size_t, std::size_t length) { has = has || isPlain || length >= kNotByChance; });
  if (!has && isPlain) FindPatterns(folded, [&](const Recognised&) { has = true; });
  return has;
}

bool Scrubber::HasValue(std::string_view text, int depth) const {
  const bool isPlain = IsPlainText(text);
  bool has = false;
  for (const Units& reading : ReadingsOf(text)) {
    has = has || HasValue(reading, isPlain);
    if (!has && isPlain && depth < kDeepest)
      FindEncoded(reading, [&](const EncodedText& encoded) {
        has = has || HasValue(encoded.decoded, depth + 1) ||
              HasValue(FromUtf16(encoded.decoded, false), depth + 1);
      });
  }
  return has;
}

void Scrubber::AddEncoded(const Units& reading, std::vector<Span>& spans) {
  FindEncoded(reading, [&](const EncodedText& encoded) {
    const std::size_t begin = reading[encoded.first].begin, end = reading[encoded.end - 1].end;
    const bool isDone = !spans.empty() && spans.back().begin == begin && spans.back().end == end;
    if (isDone || (!HasValue(encoded.decoded, 1) && !HasValue(FromUtf16(encoded.decoded, false), 1))) return;
    std::string text;
    for (std::size_t i = encoded.first; i < encoded.end; ++i) AppendUtf8(text, reading[i].code);
    spans.push_back({begin, end, standIns_.For(Form::kEncoded, text)});
  });
}

std::vector<Scrubber::Span> Scrubber::SpansOf(std::string_view text, Search search) {
  std::vector<Span> spans;
  for (const Units& reading : ReadingsOf(text)) {
    const Units folded = Folded(reading);
    index_.Search(folded, [&](std::size_t first, std::size_t length) {
      std::u32string value;
      for (std::size_t i = first; i < first + length; ++i) value += folded[i].code;
      const Known& known = known_.at(Utf8Of(value));
      spans.push_back(
          {folded[first].begin, folded[first + length - 1].end, standIns_.For(known.form, known.value)});
    });
    if (search == Search::kLearned) continue;
    FindPatterns(folded, [&](const Recognised& found) { AddPattern(folded, found, spans); });
    AddEncoded(reading, spans);
  }
  std::stable_sort(spans.begin(), spans.end(), [](const Span& one, const Span& other) {
    return one.begin != other.begin ? one.begin < other.begin : one.end > other.end;
  });
  return spans;
}

std::string Scrubber::Replaced(std::string_view text, Search search) {
  std::string replaced;
  std::size_t done = 0;  // bytes of the text
  for (const Span& span : SpansOf(text, search)) {
    if (span.end <= done) continue;  // within another value
    if (span.begin > done) replaced += text.substr(done, span.begin - done);
    replaced += span.standIn;
    done = span.end;
    ++count_;
  }
  return replaced.append(text.substr(done));
}

}  // namespace varnel::tool
