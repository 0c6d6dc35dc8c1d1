#pragma once

#include <windows.h>

#include <new>

namespace varnel {

// The exception that carries an HRESULT to Guarded.
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

// Runs `body` and returns its HRESULT. Turns exceptions into HRESULTs: std::bad_alloc into E_OUTOFMEMORY,
// HResultError into its code, any other into E_FAIL. No other function of this library does that.
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
