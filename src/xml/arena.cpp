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

void* Arena::AllocateFromNewChunk(std::size_t bytes) {
  // A long text has a chunk of its own, and the one in use goes on being filled.
  if (bytes > nextSize_ / 2) return AddChunk(bytes);
  char* const piece = AddChunk(nextSize_);
  at_ = piece + bytes;
  left_ = nextSize_ - bytes;
  if (nextSize_ < kLargestChunk) nextSize_ *= 2;
  return piece;
}

char* Arena::AddChunk(std::size_t bytes) {
  auto* const chunk = static_cast<Chunk*>(std::malloc(sizeof(Chunk) + bytes + kSlack));
  if (!chunk) throw std::bad_alloc();
  chunk->previous = last_;
  last_ = chunk;
  return reinterpret_cast<char*>(chunk + 1);
}

}  // namespace AdvXMLParser
