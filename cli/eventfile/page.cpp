#include "eventfile/page.h"

#include "console/console.h"
#include "console/text.h"

#include <windows.h>

#include <utility>

namespace varnel::tool {
namespace {

std::string_view Template() {
  const HRSRC resource = FindResourceW(nullptr, L"PAGE", MAKEINTRESOURCEW(10));  // RT_RCDATA
  const HGLOBAL loaded = resource ? LoadResource(nullptr, resource) : nullptr;
  if (!loaded) throw Failure("varnel.exe is damaged: its page is missing; install it again");
  return {static_cast<const char*>(LockResource(loaded)), SizeofResource(nullptr, resource)};
}

constexpr std::string_view kPlace = "id=\"data\">";

Failure CannotBeWritten(const std::wstring& path) {
  return Failure(Printable(path) +
                 ": the page cannot be written; name a file in a folder that this account may write to");
}

}  // namespace

PageFile::PageFile(std::wstring path) : path_(path), file_(std::move(path)) {
  const std::string_view page = Template();
  Write(page.substr(0, page.find(kPlace) + kPlace.size()));
  Write("[");
}

void PageFile::Add(std::string_view event) {
  if (std::exchange(hasEvents_, true)) Write(",\n");
  Write(event);
}

void PageFile::Finish() {
  const std::string_view page = Template();
  Write("]");
  Write(page.substr(page.find("</script>", page.find(kPlace))));
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
