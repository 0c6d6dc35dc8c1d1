#pragma once

#include <windows.h>

#include <new>

namespace varnel {

// A failure that travels as an exception and leaves a COM method as its code.
class HResultError {
 public:
  explicit HResultError(HRESULT code) noexcept : code_(code) {}
  HRESULT Code() const noexcept { return code_; }

 private:
  HRESULT code_;
};

inline void ThrowIfFailed(HRESULT result) {
  if (FAILED(result)) throw HResultError(result);
}

// The one place where exceptions become HRESULTs: runs `body` (returning an HRESULT) and lets nothing out.
// Allocation failure gives E_OUTOFMEMORY; HResultError its own code; anything else E_FAIL.
template <class Body>
[[nodiscard]] HRESULT Guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const HResultError& error) {
    return error.Code();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

}  // namespace varnel
