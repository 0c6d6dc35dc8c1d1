#pragma once

#include "xml/blocks.h"

#include <cstddef>

namespace AdvXMLParser {

// The memory of one document: allocated piece by piece, freed as a whole. It comes in chunks that grow with
// the document.
class Arena {
 public:
  // Copying in blocks may read that many bytes behind a piece.
  static constexpr std::size_t kSlack = kCopyBlock;

  Arena() noexcept {}  // leaves the first piece uninitialised
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

  // Gives the piece that was allocated last another size; its content is lost. Throws std::bad_alloc, and the
  // piece is lost then.
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
  char* AddChunk(std::size_t bytes) noexcept;  // null when there is no memory

  // The first piece is part of the arena, and with it of the document: a report of one event needs no chunk.
  static constexpr std::size_t kFirstPiece = 3000;

  Chunk* last_ = nullptr;
  std::size_t left_ = kFirstPiece;
  std::size_t nextSize_ = 8000;  // with what the heap adds, two pages
  char* at_ = first_;
  alignas(void*) char first_[kFirstPiece + kSlack];
};

}  // namespace AdvXMLParser
