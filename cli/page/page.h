#pragma once

#include "eventfile/files.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// A self-contained HTML page that shows events, and reads event files that are dropped on it. Event texts
// cannot become part of the page's code, and the page loads nothing. Every function throws Failure if the
// file cannot be written.
class PageFile {
 public:
  // `notes` is EventNotes::page.
  PageFile(NativePath path, std::string_view notes);
  // Adds an event, as WriteEvents formats it for JsonUse::kPage.
  void Add(std::string_view event);
  // Completes the page and renames the file to its path.
  void Finish();

 private:
  // Writes the page up to the contents of its data block with this identifier.
  void WriteUpTo(std::string_view block);
  void Write(std::string_view bytes);
  void Flush();

  const NativePath path_;
  NewFile file_;
  std::string_view rest_;  // of the page, not written yet
  std::string part_;
  bool hasEvents_ = false;
};

}  // namespace varnel::tool
