#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnel::tool {

// The SHA-256 (FIPS 180-4) of bytes that arrive in pieces. Written out here because the functions of Windows
// load cryptsp.dll or bcrypt.dll by name, and Windows looks for these in the program's folder.
class Sha256 {
 public:
  void Add(std::string_view bytes);
  // Returns the sum of all bytes in lower-case hexadecimal digits. Nothing can be added afterwards.
  [[nodiscard]] std::string Finish();

 private:
  static constexpr std::size_t kBlock = 64;
  void AddBlock();

  std::array<std::uint32_t, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  std::array<unsigned char, kBlock> block_{};
  std::uint64_t size_ = 0;  // bytes that were added
};

}  // namespace varnel::tool
