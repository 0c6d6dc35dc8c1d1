#include "page/page.h"

#include "console/console.h"
#include "page/page_html.h"
#include "page/page_rules.h"

#include <cstddef>
#include <utility>

namespace varnel::tool {
namespace {

Failure CannotBeWritten(const NativePath& path) {
  return Failure(Printable(ToUtf8(path)) +
                 ": the page cannot be written; name a file in a folder that this account may write to");
}

}  // namespace

PageFile::PageFile(NativePath path, std::string_view notes)
    : path_(path), file_(std::move(path)), rest_(kPageHtml) {
  WriteUpTo("rules");
  Write(PageRules());
  WriteUpTo("notes");
  Write(notes.empty() ? "{}" : notes);
  WriteUpTo("data");
  Write("[");
}

void PageFile::Add(std::string_view event) {
  if (std::exchange(hasEvents_, true)) Write(",\n");
  Write(event);
}

void PageFile::Finish() {
  Write("]");
  Write(rest_);
  Flush();
  if (!file_.Finish()) throw CannotBeWritten(path_);
}

void PageFile::WriteUpTo(std::string_view block) {
  const std::string place = "id=\"" + std::string(block) + "\">";
  const std::size_t end = rest_.find(place) + place.size();
  Write(rest_.substr(0, end));
  rest_.remove_prefix(end);
}

void PageFile::Write(std::string_view bytes) {
  part_ += bytes;
  if (part_.size() > 65'536) Flush();
}

void PageFile::Flush() {
  if (!file_.Write(part_)) throw CannotBeWritten(path_);
  part_.clear();
}

}  // namespace varnel::tool
