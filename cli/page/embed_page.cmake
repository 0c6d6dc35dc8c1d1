# varnel_embed_page(FILE): FILE.cpp with the page as a constant. The scripts and the style become part of it; the page's
# content security policy has their hashes, so a browser runs nothing else.

# The base64 form of 64 hexadecimal digits.
function(varnel_base64 digits result)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  foreach(at RANGE 0 60 6)
    string(SUBSTRING ${digits}00 ${at} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR index "0x${group} >> ${shift} & 63")
      string(SUBSTRING ${alphabet} ${index} 1 letter)
      string(APPEND text ${letter})
    endforeach()
  endforeach()
  string(SUBSTRING ${text} 0 43 text) # the byte that was added to the last group
  set(${result} ${text}= PARENT_SCOPE)
endfunction()

function(varnel_embed_page file)
  set(folder ${CMAKE_CURRENT_SOURCE_DIR}/page)
  set(script "")
  # In this order: a script uses those before it while it is loaded.
  foreach(name texts xml labels events store query times files save tops plot table details main)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/scripts/${name}.js)
    file(READ ${folder}/scripts/${name}.js part)
    string(APPEND script "${part}")
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/page.html ${folder}/page.css)
  file(READ ${folder}/page.css style)
  file(READ ${folder}/page.html html)
  foreach(part script style)
    string(SHA256 hash "${${part}}")
    varnel_base64(${hash} hash)
    string(REPLACE "@${part}_hash@" "sha256-${hash}" html "${html}")
    string(REPLACE "@${part}@" "${${part}}" html "${html}")
  endforeach()
  string(HEX "${html}" bytes)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  file(CONFIGURE OUTPUT ${file} CONTENT [[#include "page/page_html.h"

namespace varnel::tool {
namespace {
constexpr char kBytes[] = {@bytes@};
}
const std::string_view kPageHtml(kBytes, sizeof(kBytes));
}
]] @ONLY)
endfunction()
