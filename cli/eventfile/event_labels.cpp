#include "eventfile/event_labels.h"

#include "console/utf8.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {

std::string_view Cut(std::string_view text) {
  if (text.size() <= kLongestText) return text;
  std::size_t end = kLongestText;
  while (ContinuesUtf8(text[end])) --end;
  return text.substr(0, end);
}

std::string LeftOut::Words() const {
  std::string words;
  for (const auto& [count, what] :
       {std::pair(fields, "fields: "), std::pair(labels, "labels: "), std::pair(texts, "cut texts: "),
        std::pair(events, "events before this one: ")})
    if (count > 0) words += (words.empty() ? "" : ", ") + (what + std::to_string(count));
  return words;
}

void SharedLabels::operator()(std::string_view path, std::string_view text) {
  path = Cut(path);
  const std::size_t bytes = path.size() + Cut(text).size();
  if (leftOut_.labels > 0 || labels_.size() == kMostLabels || bytes_ + bytes > kLongestLine) {
    ++leftOut_.labels;
    return;
  }
  bytes_ += bytes;
  Label& label = labels_.emplace_back(Label{std::string(path), {}});
  AppendJsonText(label.json, Cut(text), use_);
  if (text.size() > kLongestText) ++leftOut_.texts;
}

void Labels::operator()(std::string_view path, std::string_view text) {
  path = Cut(path);
  Count(Fits(path.size() + Cut(text).size()) && line_.Text(names_.NameFor(path), Cut(text)));
  if (!isFull_ && text.size() > kLongestText) ++leftOut_.texts;
}

void Labels::Add(const SharedLabels& shared) {
  for (const SharedLabels::Label& label : shared.labels_)
    Count(Fits(label.path.size() + label.json.size()) && line_.Raw(names_.NameFor(label.path), label.json));
  leftOut_.labels += shared.leftOut_.labels;
  leftOut_.texts += shared.leftOut_.texts;
}

bool Labels::Fits(std::size_t bytes) {
  return !isFull_ && count_ < kMostLabels && line_.HasRoom(bytes);
}

void Labels::Count(bool isIn) {
  isFull_ = !isIn;
  ++(isIn ? count_ : leftOut_.labels);
}

std::string LabelNames::NameFor(std::string_view path) {
  std::string first(path);
  std::replace(first.begin(), first.end(), '.', '_');  // receivers take a dot for a nested field
  std::string name = first;
  while (!taken_.insert(name).second) name = first + "_" + std::to_string(++last_[first] + 1);
  return name;
}

}  // namespace varnel::tool
