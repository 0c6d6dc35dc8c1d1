// Allocates each block directly before a page without access and removes access from freed blocks, so that
// reading or writing outside of a block ends the fuzzer. Used where the linker wraps malloc and free.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* block);
}

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kPages = std::size_t{1} << 20;

char* g_region = nullptr;
std::size_t g_used = 0;  // pages
std::size_t g_live = 0;  // blocks
std::uint32_t g_pagesOf[kPages];

char* PageOf(std::size_t index) {
  return g_region + index * kPage;
}

}  // namespace

namespace varnel::fuzz {
bool g_guarded = false;
}

extern "C" {

void* __wrap_malloc(std::size_t size) {
  if (!varnel::fuzz::g_guarded) return __real_malloc(size);
  if (!g_region) {
    void* const region =
        mmap(nullptr, kPages * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (region == MAP_FAILED) std::abort();
    g_region = static_cast<char*>(region);
  }
  const std::size_t pages = (size + kPage - 1) / kPage;
  if (g_used + pages + 1 > kPages) std::abort();
  char* const start = PageOf(g_used);
  if (mprotect(start, pages * kPage, PROT_READ | PROT_WRITE) != 0) std::abort();
  g_pagesOf[g_used] = static_cast<std::uint32_t>(pages);
  g_used += pages + 1;
  ++g_live;
  return start + pages * kPage - size;  // aligned, because sizes are multiples of the alignment
}

void __wrap_free(void* block) {
  char* const address = static_cast<char*>(block);
  if (!g_region || address < g_region || address >= PageOf(kPages)) return __real_free(block);
  const std::size_t index = static_cast<std::size_t>(address - g_region) / kPage;
  const std::size_t size = g_pagesOf[index] * kPage;
  madvise(PageOf(index), size, MADV_DONTNEED);
  mprotect(PageOf(index), size, PROT_NONE);
  if (--g_live == 0) g_used = 0;
}

}  // extern "C"

void* operator new(std::size_t size) {
  if (void* const block = __wrap_malloc(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  __wrap_free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  __wrap_free(block);
}
