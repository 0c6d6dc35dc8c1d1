#pragma once

#include <windows.h>
#include <objidl.h>

#include <string_view>

namespace varnel::tool {

// Bytes in memory, for the system's XML reader. It lives longer than the reader's interest in it, so
// references are not counted.
//
// A stream may give less than it is asked for. This one gives parts that end with an ASCII character: the
// reader of Wine 8 loses bytes when a character of several bytes lies at the end of a part.
class ByteStream final : public ISequentialStream {
 public:
  explicit ByteStream(std::string_view bytes) : rest_(bytes) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG size, ULONG* read) override;
  HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return STG_E_ACCESSDENIED; }

 private:
  std::string_view rest_;
};

}  // namespace varnel::tool
