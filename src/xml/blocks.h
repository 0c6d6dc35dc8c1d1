#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>

// The inner loops of the tree and of its text. On x64, where every processor has SSE2, and with 16-bit
// wchar_t they process eight units at a time; elsewhere plain loops give the same results.
#if (defined(__x86_64__) || defined(_M_X64)) && WCHAR_MAX == 0xFFFF
#define VARNEL_HAS_BLOCKS
#include <emmintrin.h>
#endif

namespace AdvXMLParser {

// True for a unit of ASCII that is its own markup: not zero and none of the five that are written as
// entities.
constexpr bool IsPlain(wchar_t unit) noexcept {
  constexpr std::uint64_t kNotPlain = std::uint64_t{1} << L'<' | std::uint64_t{1} << L'>' |
                                      std::uint64_t{1} << L'&' | std::uint64_t{1} << L'\'' |
                                      std::uint64_t{1} << L'"' | 1;
  const auto code = static_cast<std::uint32_t>(unit);
  return code < 64 ? (kNotPlain >> code & 1) == 0 : code < 0x80;
}

// True if two texts of `count` units are equal. Tuned for short texts, for which a call would cost more.
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

// Copies `count` bytes and returns the end of the copy. Works in whole blocks, so it reads and writes up to
// 15 bytes after the end.
constexpr std::size_t kCopyBlock = 16;
inline char* CopyBlocks(char* to, const char* from, std::size_t count) noexcept {
  for (std::size_t at = 0; at < count; at += kCopyBlock) std::memcpy(to + at, from + at, kCopyBlock);
  return to + count;
}

// Writes a byte for each unit up to the first one that is not plain; returns how many. `to` has room for
// `count` bytes, all of which may be overwritten.
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
// Returns a mask with all bits set in each byte that equals `byte`. Bits in `without` are cleared before the
// comparison.
inline __m128i WhereEqual(__m128i bytes, char byte, char without = 0) noexcept {
  return _mm_cmpeq_epi8(_mm_andnot_si128(_mm_set1_epi8(without), bytes), _mm_set1_epi8(byte));
}
// Returns the units as bytes, in both halves: a unit below 0x80 as itself, any other as zero or a byte from
// 0x80 on.
inline __m128i Packed(__m128i units) noexcept {
  return _mm_packus_epi16(units, units);
}
// Returns one bit for each unit of a packed block, set if the unit is not plain.
inline unsigned MaskOfNotPlain(__m128i packed) noexcept {
  // Among the five units that become entities, two pairs differ in one bit only.
  const __m128i pairs = _mm_or_si128(WhereEqual(packed, '&', 1), WhereEqual(packed, '<', 2));
  const __m128i entities = _mm_or_si128(pairs, WhereEqual(packed, '"'));
  const __m128i ascii = _mm_cmpgt_epi8(packed, _mm_setzero_si128());  // without the zero
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(entities, ascii)) & 0xFF) ^ 0xFF;
}

// Like std::wcslen. Reads aligned blocks, which never cross a page boundary.
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

// Returns the index of the first unit from `at` on that is not plain; `count` if there is none.
inline std::size_t FindNotPlain(const wchar_t* text, std::size_t at, std::size_t count) noexcept {
  for (; at + kBlockUnits <= count; at += kBlockUnits) {
    const unsigned found = MaskOfNotPlain(Packed(Block(text + at)));
    if (found) return at + static_cast<std::size_t>(std::countr_zero(found));
  }
  while (at < count && IsPlain(text[at])) ++at;
  return at;
}

// NarrowUnits in blocks.
inline std::size_t NarrowPlain(char* to, const wchar_t* from, std::size_t count) noexcept {
  if (count < kBlockUnits) return NarrowUnits(to, from, count);
  for (std::size_t at = 0;;
       at = std::min(at + kBlockUnits, count - kBlockUnits)) {  // the last block may overlap the one before
    const __m128i packed = Packed(Block(from + at));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + at), packed);
    const unsigned found = MaskOfNotPlain(packed);
    if (found) return at + static_cast<std::size_t>(std::countr_zero(found));
    if (at + kBlockUnits == count) return count;
  }
}

// Converts ASCII bytes to units and returns their end. Works in whole blocks, so it reads up to seven bytes
// and overwrites up to seven units after the end.
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
