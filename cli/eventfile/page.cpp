#include "eventfile/page.h"

#include "console/console.h"
#include "eventfile/page_html.h"

#include <utility>

namespace varnel::tool {
namespace {

constexpr std::string_view kNotesPlace = "id=\"notes\">";
constexpr std::string_view kPlace = "id=\"data\">";

Failure CannotBeWritten(const NativePath& path) {
  return Failure(Printable(ToUtf8(path)) +
                 ": the page cannot be written; name a file in a folder that this account may write to");
}

}  // namespace

PageFile::PageFile(NativePath path, std::string_view notes) : path_(path), file_(std::move(path)) {
  const std::size_t notesEnd = kPageHtml.find(kNotesPlace) + kNotesPlace.size();
  Write(kPageHtml.substr(0, notesEnd));
  Write(notes.empty() ? "{}" : notes);
  const std::string_view rest = kPageHtml.substr(kPageHtml.find("</script>", notesEnd));
  Write(rest.substr(0, rest.find(kPlace) + kPlace.size()));
  Write("[");
}

void PageFile::Add(std::string_view event) {
  if (std::exchange(hasEvents_, true)) Write(",\n");
  Write(event);
}

void PageFile::Finish() {
  Write("]");
  Write(kPageHtml.substr(kPageHtml.find("</script>", kPageHtml.find(kPlace))));
  Flush();
  if (!file_.Finish()) throw CannotBeWritten(path_);
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
