#include "console/build_identifier.h"
#include "console/hex_text.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace varnel::tool {
namespace {

// The record that a debug directory entry of the type CodeView points to, without its file name.
struct CodeView {
  char mark[4];
  char identifier[16];
};

}  // namespace

std::string BuildIdentifier() {
  const auto* const base = reinterpret_cast<const std::byte*>(GetModuleHandleW(nullptr));
  const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos.e_lfanew);
  const IMAGE_DATA_DIRECTORY& place = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DEBUG];
  const auto* const entries = reinterpret_cast<const IMAGE_DEBUG_DIRECTORY*>(base + place.VirtualAddress);
  for (std::size_t i = 0; i < place.Size / sizeof(IMAGE_DEBUG_DIRECTORY); ++i) {
    if (entries[i].Type != IMAGE_DEBUG_TYPE_CODEVIEW || entries[i].SizeOfData < sizeof(CodeView)) continue;
    CodeView record;
    std::memcpy(&record, base + entries[i].AddressOfRawData, sizeof(record));
    // In the order of a GUID's text, as debuggers print it: the first three numbers are little-endian.
    std::reverse(record.identifier, record.identifier + 4);
    std::reverse(record.identifier + 4, record.identifier + 6);
    std::reverse(record.identifier + 6, record.identifier + 8);
    return HexText({record.identifier, sizeof(record.identifier)});
  }
  return {};
}

}  // namespace varnel::tool
