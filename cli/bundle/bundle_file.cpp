#include "bundle/bundle_file.h"

#include "console/sha256.h"
#include "console/utf8.h"
#include "eventfile/json_line.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {
namespace {

std::string FileName(std::string_view name) {
  std::string safe;
  for (std::size_t at = 0; at < name.size();) {
    const Decoded next = DecodeUtf8(name.substr(at, 4));
    const bool isTaken = next.code < 0x20 || next.code == 0x7F ||
                         std::u32string_view(U"\\/:*?\"<>|").find(next.code) != std::u32string_view::npos;
    if (next.isValid && !isTaken)
      safe += name.substr(at, next.length);
    else
      safe += '_';
    at += next.length;
  }
  // Windows leaves out dots and blanks at the end.
  if (safe.empty() || safe.back() == '.' || safe.back() == ' ') safe += '_';
  return safe;
}

std::string SmallLetters(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

std::string Object(const std::vector<std::pair<std::string_view, std::string>>& members) {
  std::string json;
  JsonLine line(json, json.max_size(), JsonUse::kData);
  for (const auto& [name, value] : members)
    if (name == "size")
      line.Raw(name, value);
    else if (!value.empty())
      line.Text(name, value);
  line.Close();
  return json;
}

std::string List(const std::vector<std::string>& items) {
  std::string json = "[";
  for (const std::string& item : items) json += (json.size() == 1 ? "\n  " : ",\n  ") + item;
  return json + "\n ]";
}

}  // namespace

BundleFile::BundleFile(NativePath path)
    : path_(std::move(path)), file_(path_, NewFile::Existing::kKeep), zip_([this](std::string_view bytes) {
        size_ += bytes.size();
        if (!file_.Write(bytes)) throw CannotWrite();
      }) {
  if (FactsOf(path_).error.problem != Problem::kMissing)
    throw Failure(Printable(ToUtf8(path_)) + " exists; choose another name for --to, or remove it");
}

Failure BundleFile::CannotWrite() const {
  return Failure("cannot write " + Printable(ToUtf8(path_)) +
                 "; does its folder exist, may this account write to it, and has the disk room?");
}

std::string BundleFile::UniqueName(std::string_view folder, std::string_view name) {
  const std::string safe = FileName(name);
  const std::size_t dot = std::min(safe.rfind('.'), safe.size());
  return names_.Take(std::string(folder) + safe.substr(0, dot), safe.substr(dot), SmallLetters);
}

void BundleFile::Add(std::string_view folder, std::string_view name, std::string_view bytes,
                     std::string_view state) {
  const std::string unique = UniqueName(folder, name);
  zip_.Add(unique, bytes);
  Sha256 sum;
  sum.Add(bytes);
  files_.push_back(Object({{"name", unique},
                           {"size", std::to_string(bytes.size())},
                           {"sha256", sum.Finish()},
                           {"state", std::string(state)}}));
}

void BundleFile::LeaveOut(std::string_view name, std::string_view reason) {
  leftOut_.push_back(Object({{"name", std::string(name)}, {"reason", std::string(reason)}}));
}

std::string BundleFile::Contents(std::string_view settings) const {
  return "{" + std::string(settings) + "\n \"files\": " + List(files_) +
         ",\n \"leftOut\": " + List(leftOut_) + "}\n";
}

void BundleFile::Finish(std::string_view settings) {
  zip_.Add("contents.json", Contents(settings));
  zip_.Finish();
  if (!file_.Finish()) throw CannotWrite();
}

}  // namespace varnel::tool
