#include "byte_stream.h"

#include <algorithm>

namespace varnel::tool {

HRESULT ByteStream::QueryInterface(REFIID id, void** object) {
  *object = nullptr;
  if (id != __uuidof(IUnknown) && id != __uuidof(ISequentialStream)) return E_NOINTERFACE;
  *object = this;
  return S_OK;
}

HRESULT ByteStream::Read(void* buffer, ULONG size, ULONG* read) {
  std::size_t length = std::min<std::size_t>(size, rest_.size());
  const auto isAscii = [this](std::size_t end) { return static_cast<signed char>(rest_[end - 1]) >= 0; };
  std::size_t end = length;
  while (end > 0 && !isAscii(end)) --end;
  if (end > 0) length = end;
  rest_.copy(static_cast<char*>(buffer), length);
  rest_.remove_prefix(length);
  if (read) *read = static_cast<ULONG>(length);
  return length == size ? S_OK : S_FALSE;
}

}  // namespace varnel::tool
