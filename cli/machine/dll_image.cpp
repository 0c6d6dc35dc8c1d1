#include "machine/dll_image.h"

#include "base/files.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace varnel::tool {
namespace {

// Copies T from the bytes. Returns false if they end before it does.
template <class T>
bool Get(const std::vector<std::uint8_t>& bytes, std::size_t at, T& value) {
  if (at > bytes.size() || bytes.size() - at < sizeof(T)) return false;
  std::memcpy(&value, bytes.data() + at, sizeof(T));
  return true;
}

}  // namespace

bool IsCutShort(const std::wstring& path) {
  constexpr DWORD kHeaders = 4096;
  const FileHandle file(
      CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  LARGE_INTEGER size{};
  std::vector<std::uint8_t> bytes(kHeaders);
  DWORD read = 0;
  if (!file || GetFileType(file.Get()) != FILE_TYPE_DISK || !GetFileSizeEx(file.Get(), &size) ||
      !ReadFile(file.Get(), bytes.data(), kHeaders, &read, nullptr))
    return false;
  bytes.resize(read);
  IMAGE_DOS_HEADER dos{};
  IMAGE_FILE_HEADER header{};
  if (bytes.size() < 2 || bytes[0] != 'M' || bytes[1] != 'Z') return false;
  if (!Get(bytes, 0, dos)) return true;
  const auto signature = static_cast<std::size_t>(static_cast<std::uint32_t>(dos.e_lfanew));
  if (signature >= kHeaders) return false;
  if (!Get(bytes, signature + sizeof(DWORD), header)) return true;
  const std::size_t sections = signature + sizeof(DWORD) + sizeof(header) + header.SizeOfOptionalHeader;
  for (std::size_t i = 0; i < header.NumberOfSections; ++i) {
    IMAGE_SECTION_HEADER section{};
    if (!Get(bytes, sections + i * sizeof(section), section)) return read < kHeaders;
    if (std::uint64_t{section.PointerToRawData} + section.SizeOfRawData >
        static_cast<std::uint64_t>(size.QuadPart))
      return true;
  }
  return false;
}

}  // namespace varnel::tool
