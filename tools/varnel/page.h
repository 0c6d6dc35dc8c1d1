#pragma once

#include "new_file.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// A page of its own that shows events. Nothing in them can become part of the page, and the page asks for
// nothing beyond itself. Every function throws Failure when the file cannot be written.
class PageFile {
 public:
  explicit PageFile(std::wstring path);
  // An event as WriteEvents gives it for a page.
  void Add(std::string_view event);
  // Gives the file its name.
  void Finish();

 private:
  void Write(std::string_view bytes);
  void Flush();

  const std::wstring path_;
  NewFile file_;
  std::string part_;
  bool hasEvents_ = false;
};

}  // namespace varnel::tool
