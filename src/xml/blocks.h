#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>

// The inner loops of the tree and of its text. They take eight units at a time where units have 16 bits and
// every processor has the instructions; elsewhere plain loops have the same results.
#if (defined(__x86_64__) || defined(_M_X64)) && WCHAR_MAX == 0xFFFF
#define VARNEL_HAS_BLOCKS
#include <emmintrin.h>
#endif

namespace AdvXMLParser {

// ASCII, but for the zero and the five that are written as entities: the markup of such a unit is the unit.
constexpr bool IsPlain(wchar_t unit) noexcept {
  constexpr std::uint64_t kNotPlain = std::uint64_t{1} << L'<' | std::uint64_t{1} << L'>' |
                                      std::uint64_t{1} << L'&' | std::uint64_t{1} << L'\'' |
                                      std::uint64_t{1} << L'"' | 1;
  const auto code = static_cast<std::uint32_t>(unit);
  return code < 64 ? (kNotPlain >> code & 1) == 0 : code < 0x80;
}

// Whether two texts of that many units are the same. For short ones: a call would cost more.
inline bool AreEqual(const wchar_t* left, const wchar_t* right, std::size_t count) noexcept {
  constexpr std::size_t kUnits = sizeof(std::uint64_t) / sizeof(wchar_t);
  const auto word = [](const wchar_t* text) {
    std::uint64_t units;
    std::memcpy(&units, text, sizeof(units));
    return units;
  };
  if (left == right) return true;
  if (count < kUnits) return std::equal(left, left + count, right);
  for (std::size_t at = 0; at + kUnits < count; at += kUnits)
    if (word(left + at) != word(right + at)) return false;
  return word(left + count - kUnits) == word(right + count - kUnits);
}

// Copies non-overlapping text; tuned for short text.
inline void CopyUnits(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  constexpr std::size_t kBytes = 16;
  constexpr std::size_t kUnits = kBytes / sizeof(wchar_t);
  if (count < kUnits) {
    for (std::size_t at = 0; at < count; ++at) to[at] = from[at];
    return;
  }
  for (std::size_t at = 0; at + kUnits < count; at += kUnits) std::memcpy(to + at, from + at, kBytes);
  std::memcpy(to + count - kUnits, from + count - kUnits, kBytes);
}

// Copies bytes in whole blocks and returns the end of the copy: up to one block too many is read and written.
constexpr std::size_t kCopyBlock = 16;
inline char* CopyBlocks(char* to, const char* from, std::size_t count) noexcept {
  for (std::size_t at = 0; at < count; at += kCopyBlock) std::memcpy(to + at, from + at, kCopyBlock);
  return to + count;
}

// Writes a byte for each plain unit and returns how many there are before the first one that is not plain.
// `to` has room for `count` bytes, all of which may be written.
inline std::size_t NarrowUnits(char* to, const wchar_t* from, std::size_t count) noexcept {
  std::size_t at = 0;
  for (; at < count && IsPlain(from[at]); ++at) to[at] = static_cast<char>(from[at]);
  return at;
}

constexpr std::size_t kBlockUnits = 8;

#ifdef VARNEL_HAS_BLOCKS

inline __m128i Block(const wchar_t* text) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
}
// All ones where a byte equals `byte`, the bits of `without` left aside.
inline __m128i WhereEqual(__m128i bytes, char byte, char without = 0) noexcept {
  return _mm_cmpeq_epi8(_mm_andnot_si128(_mm_set1_epi8(without), bytes), _mm_set1_epi8(byte));
}
// The block as bytes, in both halves: the unit where that is less than 0x80, else zero or a byte from 0x80
// on.
inline __m128i Packed(__m128i units) noexcept {
  return _mm_packus_epi16(units, units);
}
// One bit for each unit of a packed block that is not plain.
inline unsigned MaskOfNotPlain(__m128i packed) noexcept {
  // Two pairs of the five that become entities differ in one bit.
  const __m128i pairs = _mm_or_si128(WhereEqual(packed, '&', 1), WhereEqual(packed, '<', 2));
  const __m128i entities = _mm_or_si128(pairs, WhereEqual(packed, '"'));
  const __m128i ascii = _mm_cmpgt_epi8(packed, _mm_setzero_si128());  // but for the zero
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(entities, ascii)) & 0xFF) ^ 0xFF;
}

// As std::wcslen. Reads aligned blocks, which never reach into another page.
inline std::size_t WideLength(const wchar_t* text) noexcept {
  const auto maskOfZeros = [](const wchar_t* block) {
    const __m128i units = _mm_load_si128(reinterpret_cast<const __m128i*>(block));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(units, _mm_setzero_si128())));
  };
  const std::size_t offset = reinterpret_cast<std::uintptr_t>(text) % sizeof(__m128i);
  if (offset % sizeof(wchar_t) != 0) return std::wcslen(text);
  const wchar_t* block = text - offset / sizeof(wchar_t);
  unsigned zeros = maskOfZeros(block) >> offset << offset;
  while (zeros == 0) zeros = maskOfZeros(block += kBlockUnits);
  return static_cast<std::size_t>(block - text) + static_cast<std::size_t>(std::countr_zero(zeros)) / 2;
}

// The place of the first unit from `at` on that is not plain; `count` when there is none.
inline std::size_t FindNotPlain(const wchar_t* text, std::size_t at, std::size_t count) noexcept {
  for (; at + kBlockUnits <= count; at += kBlockUnits) {
    const unsigned found = MaskOfNotPlain(Packed(Block(text + at)));
    if (found) return at + static_cast<std::size_t>(std::countr_zero(found));
  }
  while (at < count && IsPlain(text[at])) ++at;
  return at;
}

inline std::size_t NarrowPlain(char* to, const wchar_t* from, std::size_t count) noexcept {
  if (count < kBlockUnits) return NarrowUnits(to, from, count);
  for (std::size_t at = 0;;
       at = std::min(at + kBlockUnits, count - kBlockUnits)) {  // the last overlaps the one before
    const __m128i packed = Packed(Block(from + at));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + at), packed);
    const unsigned found = MaskOfNotPlain(packed);
    if (found) return at + static_cast<std::size_t>(std::countr_zero(found));
    if (at + kBlockUnits == count) return count;
  }
}

// ASCII bytes to units; returns their end. Whole blocks: up to seven bytes behind are read, and up to seven
// units behind the end written over.
inline wchar_t* Widen(wchar_t* to, const char* from, std::size_t count) noexcept {
  for (std::size_t at = 0; at < count; at += kBlockUnits) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
  }
  return to + count;
}

#else

inline std::size_t WideLength(const wchar_t* text) noexcept {
  return std::wcslen(text);
}
inline std::size_t FindNotPlain(const wchar_t* text, std::size_t at, std::size_t count) noexcept {
  while (at < count && IsPlain(text[at])) ++at;
  return at;
}
inline std::size_t NarrowPlain(char* to, const wchar_t* from, std::size_t count) noexcept {
  return NarrowUnits(to, from, count);
}
inline wchar_t* Widen(wchar_t* to, const char* from, std::size_t count) noexcept {
  return std::copy(from, from + count, to);
}

#endif

}  // namespace AdvXMLParser
