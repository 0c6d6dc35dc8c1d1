#include "settings/event_filter.h"

#include "base/files.h"
#include "settings/agent_settings.h"
#include "settings/disabled_event_list.h"

#include <cwchar>
#include <iterator>

namespace varnel {
namespace {

constexpr wchar_t kFilterFile[] = L"data\\EvtFiltr.ini";
// Excludes INVALID_FILE_SIZE and every size to which two bytes cannot be added in 32 bits.
constexpr DWORD kLargestFile = 0xFFFFFFFD;

}  // namespace

std::size_t BuildFilterPath(wchar_t (&path)[kFilterPathCapacity]) noexcept {
  if (!ReadDataPath(path)) return 0;
  std::size_t length = std::wcslen(path);
  if (length + 1 + std::size(kFilterFile) > kFilterPathCapacity) return 0;
  if (length == 0 || path[length - 1] != L'\\') path[length++] = L'\\';
  std::wcscpy(path + length, kFilterFile);
  return length + std::size(kFilterFile) - 1;
}

MallocPtr<char[]> ReadWholeFile(const char* narrowPath, std::uint32_t* sizeOut) noexcept {
  const FileHandle file(CreateFileA(narrowPath, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  if (!file) return nullptr;
  const DWORD size = GetFileSize(file.Get(), nullptr);
  if (size == 0 || size > kLargestFile) return nullptr;
  auto content = AllocateZeroed<char>(std::size_t{size} + 2);
  if (!content) return nullptr;
  DWORD read = 0;
  if (ReadFile(file.Get(), content.get(), size, &read, nullptr) && read == size) *sizeOut = size;
  return content;
}

MallocPtr<char[]> ReadFilter(const wchar_t (&path)[kFilterPathCapacity], std::size_t length,
                             std::uint32_t* sizeOut) noexcept {
  char narrowPath[kFilterPathCapacity * 2 + 2] = {};
  const int converted = WideCharToMultiByte(CP_THREAD_ACP, 0, path, static_cast<int>(length), narrowPath,
                                            static_cast<int>(length * 2 + 1), nullptr, nullptr);
  return converted > 0 ? ReadWholeFile(narrowPath, sizeOut) : nullptr;
}

MallocPtr<char[]> ReadFilter(std::uint32_t* sizeOut) noexcept {
  wchar_t path[kFilterPathCapacity] = {};
  const std::size_t length = BuildFilterPath(path);
  return length > 0 ? ReadFilter(path, length, sizeOut) : nullptr;
}

bool IsEventDisabled(std::int32_t eventId) noexcept {
  std::uint32_t size = 0;
  const auto content = ReadFilter(&size);
  return content && ListsAsDisabled(content.get(), size, eventId);
}

}  // namespace varnel
