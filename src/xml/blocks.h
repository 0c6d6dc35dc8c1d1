#pragma once

#include <cstddef>
#include <cstdint>
#include <cwchar>

// The two inner loops of the tree and of its text. They take eight units at a time where units have 16 bits
// and every processor has the instructions; elsewhere a plain loop has the same results.
#if (defined(__x86_64__) || defined(_M_X64)) && WCHAR_MAX == 0xFFFF
#define VARNEL_HAS_BLOCKS
#include <emmintrin.h>
#endif

namespace AdvXMLParser {

// ASCII, but for the zero and the five characters that are written as entities: the markup of such a unit is
// the unit.
constexpr bool IsPlain(wchar_t unit) noexcept {
  constexpr std::uint64_t kNotPlain = std::uint64_t{1} << L'<' | std::uint64_t{1} << L'>' |
                                      std::uint64_t{1} << L'&' | std::uint64_t{1} << L'\'' |
                                      std::uint64_t{1} << L'"' | 1;
  const auto code = static_cast<std::uint32_t>(unit);
  return code < 64 ? (kNotPlain >> code & 1) == 0 : code < 0x80;
}

// Copies the units and says whether all are plain.
inline bool CopyUnits(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  bool plain = true;
  for (std::size_t at = 0; at < count; ++at) {
    to[at] = from[at];
    plain = plain && IsPlain(from[at]);
  }
  return plain;
}

#ifdef VARNEL_HAS_BLOCKS

constexpr std::size_t kBlockUnits = 8;

// Not zero where a unit is not plain. Two pairs of the five differ in one bit.
inline __m128i NotPlainIn(__m128i units) noexcept {
  const auto are = [&](int unit, int without) {
    return _mm_cmpeq_epi16(_mm_andnot_si128(_mm_set1_epi16(static_cast<short>(without)), units),
                           _mm_set1_epi16(static_cast<short>(unit)));
  };
  const __m128i special =
      _mm_or_si128(_mm_or_si128(are('&', 1), are('<', 2)), _mm_or_si128(are('"', 0), are(0, 0)));
  return _mm_or_si128(special, _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80))));
}

inline bool CopyAndFindPlain(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  if (count < kBlockUnits) return CopyUnits(to, from, count);
  __m128i notPlain = _mm_setzero_si128();
  const auto copy = [&](std::size_t at) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), units);
    notPlain = _mm_or_si128(notPlain, NotPlainIn(units));
  };
  for (std::size_t at = 0; at + kBlockUnits < count; at += kBlockUnits) copy(at);
  copy(count - kBlockUnits);  // overlaps the block before
  return _mm_movemask_epi8(_mm_cmpeq_epi8(notPlain, _mm_setzero_si128())) == 0xFFFF;
}

// ASCII units to bytes; returns their end. Whole blocks: up to fourteen bytes behind `from` are read and up
// to seven behind the end are written over.
inline char* NarrowBlocks(char* to, const wchar_t* from, std::size_t count) noexcept {
  for (std::size_t at = 0; at < count; at += kBlockUnits) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + at), _mm_packus_epi16(units, units));
  }
  return to + count;
}

#else

inline bool CopyAndFindPlain(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  return CopyUnits(to, from, count);
}

inline char* NarrowBlocks(char* to, const wchar_t* from, std::size_t count) noexcept {
  for (std::size_t at = 0; at < count; ++at) *to++ = static_cast<char>(from[at]);
  return to;
}

#endif

}  // namespace AdvXMLParser
