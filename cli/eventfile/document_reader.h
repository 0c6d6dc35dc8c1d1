#pragma once

#include "console/console.h"
#include "eventfile/event_document.h"
#include "eventfile/event_files.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varnel::tool {

// Reads event documents, and names on standard error the files that it passes over and why.
class DocumentReader {
 public:
  struct Options {
    bool waitsForEnd = false;           // an unfinished file is not named: it will be read again
    std::function<void()> beforeError;  // called before a line is written
  };
  DocumentReader() = default;
  explicit DocumentReader(Options options) : options_(std::move(options)) {}

  // Returns the files of a path; nothing if it cannot be listed, which is said once for each path.
  std::optional<std::vector<ListedFile>> List(const NativePath& path);
  // Reads a file, and visits its document if there is one. The document is valid during the call. A file that
  // was found in a folder and is unfinished or gone is not named.
  using Visit = std::function<void(const EventDocument& document)>;
  EventFileReader::Result Read(const ListedFile& file, const Visit& visit);
  // Reads a file again and returns its document, which is valid until the next reading; nothing, without a
  // word, if there is none any more.
  std::optional<EventDocument> ReadAgain(const ListedFile& file);
  // Returns the worst status of all files and paths.
  [[nodiscard]] Status Worst() const { return worst_; }

 private:
  void PassOver(const ListedFile& file, Status status, const std::string& why);
  void Say(Status status, const std::string& line);

  Options options_;
  EventFileReader reader_;
  Status worst_ = kDone;
  std::set<NativePath> faulty_;  // paths that could not be listed
};

}  // namespace varnel::tool
