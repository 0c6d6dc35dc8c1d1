#include "console/build_identifier.h"
#include "console/hex_text.h"

#include <elf.h>
#include <link.h>

#include <cstddef>
#include <string_view>

namespace varnel::tool {
namespace {

// Returns the identifier among the notes of a segment.
std::string FindIdentifier(std::string_view notes) {
  const auto aligned = [](std::size_t size) { return (size + 3) & ~std::size_t{3}; };
  while (notes.size() >= sizeof(ElfW(Nhdr))) {
    const auto& note = *reinterpret_cast<const ElfW(Nhdr)*>(notes.data());
    const std::size_t start = sizeof(note) + aligned(note.n_namesz);
    if (start + aligned(note.n_descsz) > notes.size()) break;
    if (note.n_type == NT_GNU_BUILD_ID && notes.substr(sizeof(note), 4) == std::string_view("GNU\0", 4))
      return HexText(notes.substr(start, note.n_descsz));
    notes.remove_prefix(start + aligned(note.n_descsz));
  }
  return {};
}

// Looks at the first module, which is the program.
int LookAt(dl_phdr_info* module, std::size_t, void* result) {
  for (std::size_t i = 0; i < module->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = module->dlpi_phdr[i];
    if (segment.p_type != PT_NOTE) continue;
    const auto* const notes = reinterpret_cast<const char*>(module->dlpi_addr + segment.p_vaddr);
    std::string text = FindIdentifier({notes, segment.p_memsz});
    if (!text.empty()) *static_cast<std::string*>(result) = std::move(text);
  }
  return 1;
}

}  // namespace

std::string BuildIdentifier() {
  std::string text;
  dl_iterate_phdr(&LookAt, &text);
  return text;
}

}  // namespace varnel::tool
