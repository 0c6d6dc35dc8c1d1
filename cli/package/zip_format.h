#pragma once

#include <cstddef>
#include <cstdint>

namespace varnel::tool {

// Records of a zip: their sizes without their texts, and their first four bytes.
constexpr std::size_t kEndSize = 22, kEntrySize = 46, kLocalSize = 30;
constexpr std::uint32_t kEndMark = 0x06054b50, kEntryMark = 0x02014b50, kLocalMark = 0x04034b50;
constexpr std::uint32_t kZip64 = 0xFFFFFFFF;  // a size or offset that only Zip64 has
constexpr unsigned kStored = 0, kDeflated = 8;

}  // namespace varnel::tool
