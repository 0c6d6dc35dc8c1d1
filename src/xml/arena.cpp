#include "xml/arena.h"

#include <cstdlib>
#include <new>

namespace AdvXMLParser {
namespace {

constexpr std::size_t kLargestChunk = 256'000;

}  // namespace

Arena::~Arena() {
  while (last_) {
    Chunk* const previous = last_->previous;
    std::free(last_);
    last_ = previous;
  }
}

void* Arena::Reallocate(void* piece, std::size_t bytes, std::size_t newBytes) {
  char* const start = static_cast<char*>(piece);
  if (start + Rounded(bytes) == at_) {
    left_ += Rounded(bytes);
    at_ = start;
  } else if (Chunk* const own = reinterpret_cast<Chunk*>(start) - 1; own == last_) {
    last_ = own->previous;
    std::free(own);
  }
  return Allocate(newBytes);
}

void* Arena::AllocateFromNewChunk(std::size_t bytes) {
  // A long text gets its own chunk, and the current chunk stays in use.
  if (bytes > nextSize_ / 2) return NeedChunk(bytes);
  char* const piece = AddChunk(nextSize_);
  if (!piece) return NeedChunk(bytes);  // a smaller chunk may still be available
  at_ = piece + bytes;
  left_ = nextSize_ - bytes;
  if (nextSize_ < kLargestChunk) nextSize_ *= 2;
  return piece;
}

char* Arena::NeedChunk(std::size_t bytes) {
  char* const piece = AddChunk(bytes);
  if (!piece) throw std::bad_alloc();
  return piece;
}

char* Arena::AddChunk(std::size_t bytes) noexcept {
  auto* const chunk = static_cast<Chunk*>(std::malloc(sizeof(Chunk) + bytes + kSlack));
  if (!chunk) return nullptr;
  chunk->previous = last_;
  last_ = chunk;
  return reinterpret_cast<char*>(chunk + 1);
}

}  // namespace AdvXMLParser
