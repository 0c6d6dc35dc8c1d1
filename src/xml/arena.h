#pragma once

#include "xml/blocks.h"

#include <cstddef>

namespace AdvXMLParser {

// Allocates the memory of one document, in chunks that grow with the document, and frees all of it at once.
class Arena {
 public:
  // Bytes after an allocation that CopyBlocks may always read, and overwrite until the next allocation, which
  // may begin there.
  static constexpr std::size_t kSlack = kCopyBlock;

  Arena() noexcept {}  // leaves first_ uninitialised
  ~Arena();
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  // Returns uninitialised memory, aligned for pointers. Throws std::bad_alloc.
  void* Allocate(std::size_t bytes) {
    bytes = Rounded(bytes);
    if (bytes > left_) return AllocateFromNewChunk(bytes);
    char* const piece = at_;
    at_ += bytes;
    left_ -= bytes;
    return piece;
  }

  // Resizes the latest allocation from `bytes` to `newBytes` and returns its new address; its content is
  // lost. Throws std::bad_alloc, and the old memory is then lost too.
  void* Reallocate(void* piece, std::size_t bytes, std::size_t newBytes);

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
  char* AddChunk(std::size_t bytes) noexcept;  // null if there is no memory

  // This first memory is part of the arena, and so of the document: a report of one event needs no chunk.
  static constexpr std::size_t kFirstPiece = 3000;

  Chunk* last_ = nullptr;
  std::size_t left_ = kFirstPiece;
  std::size_t nextSize_ = 8000;  // two pages, together with the heap's overhead
  char* at_ = first_;
  alignas(void*) char first_[kFirstPiece + kSlack];
};

}  // namespace AdvXMLParser
