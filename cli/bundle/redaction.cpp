#include "bundle/redaction.h"

#include "bundle/free_text.h"
#include "bundle/unique_names.h"
#include "console/utf8.h"
#include "eventfile/event_forms.h"
#include "eventfile/xml_characters.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {
namespace {

// Searching takes many times the memory of a text.
constexpr std::size_t kLongestText = std::size_t{1} << 20;

void AppendEscaped(std::string& xml, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      case '&':
        xml += "&amp;";
        break;
      case '"':
        xml += "&quot;";
        break;
      case '\'':
        xml += "&apos;";
        break;
      case '\t':
      case '\n':
      case '\r':
        xml += "&#" + std::to_string(static_cast<int>(c)) + ";";
        break;
      default:
        xml += c;
    }
  }
}

// True for the names of the library's files: digits, the thread in hexadecimal digits, and a GUID.
bool IsOwnFileName(std::string_view name) {
  const std::string_view stem = name.substr(0, name.find('.'));
  const std::string_view extension = name.substr(stem.size());
  return stem.size() >= 20 && stem.find_first_not_of("0123456789abcdefABCDEF-") == stem.npos &&
         (extension == ".xml" || extension == ".txml");
}

void LearnValue(Scrubber& scrubber, Form form, std::string_view value) {
  if (form == Form::kUser || form == Form::kMachine)
    scrubber.LearnName(form, value);
  else
    scrubber.Learn(form, value);
}

// Calls line(text, end) for each line of a text and its line end.
template <class Line>
void EachLine(std::string_view text, Line line) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::size_t length = end > 0 && text[end - 1] == '\r' ? end - 1 : end;
    line(text.substr(0, length), text.substr(length, std::min(end + 1, text.size()) - length));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

// Learns the values of one document.
class Redaction::Learner : public PlaceVisitor {
 public:
  explicit Learner(Scrubber& scrubber) : scrubber_(scrubber) {}
  void Open(const Element&, bool) override {}
  void Attribute(std::string_view, bool, std::string_view value, const Place& place) override {
    Text(value, place);
  }
  void Text(std::string_view text, const Place& place) override {
    if (place.care == Care::kMarked && place.constant.empty()) LearnValue(scrubber_, place.form, text);
    if (text.size() <= kLongestText && place.care != Care::kKeep && place.care != Care::kTyped)
      scrubber_.LearnFrom(text);
  }
  void Close() override {}

 private:
  Scrubber& scrubber_;
};

// Writes one document anew.
class Redaction::Writer : public PlaceVisitor {
 public:
  Writer(Scrubber& scrubber, bool keepsFreeText) : scrubber_(scrubber), keepsFreeText_(keepsFreeText) {}

  void Open(const Element& element, bool isPublic) override {
    EndTag();
    open_.push_back(isPublic ? std::string(element.Name())
                             : NameOf(element.Name(), !element.Is(element.Name())));
    names_ = {};
    xml_ += '<';
    xml_ += open_.back();
    isTagOpen_ = true;
  }
  void Attribute(std::string_view name, bool isPublic, std::string_view value, const Place& place) override {
    const std::string unique = names_.Take(isPublic ? std::string(name) : NameOf(name, false), "",
                                           [](std::string text) { return text; });
    xml_ += " " + unique + "=\"";
    AppendEscaped(xml_, ValueOf(value, place));
    xml_ += '"';
  }
  void Text(std::string_view text, const Place& place) override {
    EndTag();
    AppendEscaped(xml_, ValueOf(text, place));
  }
  void Close() override {
    EndTag();
    xml_ += "</" + open_.back() + ">";
    open_.pop_back();
  }
  std::string Take() { return std::move(xml_); }

 private:
  void EndTag() {
    if (isTagOpen_) xml_ += '>';
    isTagOpen_ = false;
  }
  // Returns a name without a prefix, which no namespace declares here. A name in a default namespace must not
  // become one of the library's.
  std::string NameOf(std::string_view name, bool inNamespace) {
    std::string text = scrubber_.ScrubName(name);
    std::replace(text.begin(), text.end(), ':', '_');
    if (inNamespace && name.find(':') == name.npos) text = "ns_" + text;
    return IsNameStart(DecodeUtf8(text).code) ? text : "x" + text;
  }
  std::string ValueOf(std::string_view value, const Place& place) {
    if (IsBlank(value)) return std::string(value);
    const bool isSearched = value.size() <= kLongestText;
    switch (place.care) {
      case Care::kKeep:
        return std::string(value);
      case Care::kName:
        return isSearched ? scrubber_.ScrubName(value) : Described(value);
      case Care::kTyped:
        return scrubber_.Knows(value) ? scrubber_.StandInFor(place.form, value) : std::string(value);
      case Care::kMarked:
        return place.constant.empty() ? scrubber_.StandInFor(place.form, value) : std::string(place.constant);
      case Care::kText:
        return isSearched ? scrubber_.Scrub(value) : Described(value);
      case Care::kUnknown:
        break;
    }
    return keepsFreeText_ && isSearched ? scrubber_.Scrub(value) : Described(value);
  }

  Scrubber& scrubber_;
  const bool keepsFreeText_;
  std::string xml_ = R"(<?xml version="1.0" encoding="UTF-8"?>)";
  std::vector<std::string> open_;
  UniqueNames names_;  // of the attributes of the open tag
  bool isTagOpen_ = false;
};

void Redaction::Learn(Form form, std::string_view value) {
  LearnValue(scrubber_, form, value);
}

void Redaction::Learn(const EventDocument& document) {
  Learner learner(scrubber_);
  places_.Visit(document, learner);
}

std::string Redaction::Redacted(const EventDocument& document) {
  Writer writer(scrubber_, keepsFreeText_);
  places_.Visit(document, writer);
  return writer.Take();
}

void Redaction::LearnLog(std::string_view log) {
  EachLine(log, [this](std::string_view line, std::string_view) {
    if (line.size() > kLongestText) return;
    const LogLine parts = PartsOf(line);
    // With "U" in LogFlags the text begins with DOMAIN\user.
    const std::string_view first = parts.text.substr(0, parts.text.find_first_of(" *"));
    if (!parts.header.empty() && first.find('\\') != first.npos && first.find(':') == first.npos)
      scrubber_.LearnName(Form::kUser, first);
    scrubber_.LearnFrom(line);
  });
}

std::string Redaction::RedactedLog(std::string_view log) {
  std::string redacted;
  EachLine(log, [&](std::string_view line, std::string_view end) {
    redacted += RedactedLine(line);
    redacted += end;
  });
  return redacted;
}

std::string Redaction::RedactedLine(std::string_view line) {
  if (line.size() > kLongestText) return Described(line);
  if (keepsFreeText_) return scrubber_.Scrub(line);
  const LogLine parts = PartsOf(line);
  if (parts.header.empty()) return Described(line);
  // Its arguments are the caller's texts.
  constexpr std::string_view kMachineCall = " CreateMachineElement ";
  const std::size_t call = parts.text.find(kMachineCall);
  if (call == parts.text.npos) return std::string(parts.header) + scrubber_.Scrub(parts.text);
  const std::size_t arguments = call + kMachineCall.size();
  return std::string(parts.header) + scrubber_.Scrub(parts.text.substr(0, arguments)) +
         Described(parts.text.substr(arguments));
}

std::string Redaction::RedactedFileName(std::string_view name) {
  if (IsOwnFileName(name) && scrubber_.ScrubName(name) == name) return std::string(name);
  const std::string_view extension = name.ends_with(".txml") ? ".txml" : name.ends_with(".xml") ? ".xml" : "";
  return scrubber_.StandInFor(Form::kFile, name).append(extension);
}

}  // namespace varnel::tool
