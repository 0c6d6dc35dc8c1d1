#include "page.h"

#include "console.h"

#include <windows.h>

namespace varnel::tool {
namespace {

std::string_view Template() {
  const HRSRC resource = FindResourceW(nullptr, L"PAGE", MAKEINTRESOURCEW(10));  // RT_RCDATA
  const HGLOBAL loaded = resource ? LoadResource(nullptr, resource) : nullptr;
  if (!loaded) throw Failure("this program is damaged: its page is missing");
  return {static_cast<const char*>(LockResource(loaded)), SizeofResource(nullptr, resource)};
}

}  // namespace

std::string PageOf(std::string_view jsonList) {
  constexpr std::string_view kPlace = "id=\"data\">";
  const std::string_view page = Template();
  const std::size_t data = page.find(kPlace) + kPlace.size();
  std::string filled(page.substr(0, data));
  filled.reserve(page.size() + jsonList.size() + jsonList.size() / 8);
  // In JSON this character stands in texts only; escaped, no text can end the script that holds them.
  for (const char c : jsonList) c == '<' ? filled += "\\u003c" : filled += c;
  filled += page.substr(page.find("</script>", data));
  return filled;
}

}  // namespace varnel::tool
