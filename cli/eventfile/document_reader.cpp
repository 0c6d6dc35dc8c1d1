#include "eventfile/document_reader.h"

#include "console/printable.h"
#include "eventfile/event_text.h"

#include <algorithm>

namespace varnel::tool {

std::optional<std::vector<ListedFile>> DocumentReader::List(const NativePath& path) {
  try {
    return ListFiles(path);
  } catch (const Failure& failure) {
    if (faulty_.insert(path).second) Say(kFailed, failure.what());
    return std::nullopt;
  }
}

EventFileReader::Result DocumentReader::Read(const ListedFile& file, const Visit& visit) {
  EventFileReader::Result read = reader_.Read(file);
  // A reader has collected a file that is gone.
  if (read.isGone || (read.state == FileState::kUnfinished && (options_.waitsForEnd || !file.named)))
    return read;
  if (read.state != FileState::kWhole) {
    PassOver(file, read.state == FileState::kUnreadable ? kFailed : kFound, read.fault.text);
  } else if (const auto document = DescribeDocument(ToUtf8(file.path), reader_.Tree().Root())) {
    visit(*document);
  } else {
    PassOver(file, kFound, "not an event document");
  }
  return read;
}

std::optional<EventDocument> DocumentReader::ReadAgain(const ListedFile& file) {
  if (reader_.Read(file).state != FileState::kWhole) return std::nullopt;
  return DescribeDocument(ToUtf8(file.path), reader_.Tree().Root());
}

void DocumentReader::PassOver(const ListedFile& file, Status status, const std::string& why) {
  Say(status, Printable(ToUtf8(file.path)) + ": " + Shortened(why));
}

void DocumentReader::Say(Status status, const std::string& line) {
  if (options_.beforeError) options_.beforeError();
  PrintError(line);
  worst_ = std::max(worst_, status);
}

}  // namespace varnel::tool
