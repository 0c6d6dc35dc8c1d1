#pragma once

#include <cstddef>

namespace AdvXMLParser {

// The memory of one document: given out piece by piece, taken back as a whole. It comes in chunks that grow
// with the document, so a small report takes one small chunk.
class Arena {
 public:
  // Copying in blocks may read that many bytes behind a piece.
  static constexpr std::size_t kSlack = 16;

  Arena() noexcept = default;
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Uninitialised memory, aligned for pointers. Throws std::bad_alloc.
  void* Allocate(std::size_t bytes) {
    bytes = Rounded(bytes);
    if (bytes > left_) return AllocateFromNewChunk(bytes);
    char* const piece = at_;
    at_ += bytes;
    left_ -= bytes;
    return piece;
  }

  // Makes the piece that was given out last smaller.
  void Shrink(const void* piece, std::size_t bytes, std::size_t newBytes) noexcept {
    const std::size_t back = Rounded(bytes) - Rounded(newBytes);
    if (static_cast<const char*>(piece) + Rounded(bytes) != at_) return;  // it has a chunk of its own
    at_ -= back;
    left_ += back;
  }

 private:
  struct Chunk {
    Chunk* previous;
  };

  static constexpr std::size_t Rounded(std::size_t bytes) noexcept {
    constexpr std::size_t kAlignment = alignof(void*);
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
  }

  void* AllocateFromNewChunk(std::size_t bytes);
  char* NeedChunk(std::size_t bytes);
  char* AddChunk(std::size_t bytes) noexcept;  // null when there is no memory

  Chunk* last_ = nullptr;
  char* at_ = nullptr;
  std::size_t left_ = 0;
  std::size_t nextSize_ = 8000;  // with what the heap adds, two pages
};

}  // namespace AdvXMLParser
