#pragma once

#include <windows.h>
#include <unknwn.h>

#include <utility>

namespace varnel {

// Counted reference to a COM object (or to a class with AddRef and Release). Copying adds a reference.
template <class T>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  // Adds a reference. Use Adopt for a pointer that already carries one.
  explicit ComPtr(T* pointer) noexcept : pointer_(pointer) {
    if (pointer_) pointer_->AddRef();
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(other.Detach()) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  [[nodiscard]] static ComPtr Adopt(T* pointer) noexcept {
    ComPtr adopted;
    adopted.pointer_ = pointer;
    return adopted;
  }

  T* Get() const noexcept { return pointer_; }
  T* operator->() const noexcept { return pointer_; }
  T& operator*() const noexcept { return *pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  [[nodiscard]] T* Detach() noexcept { return std::exchange(pointer_, nullptr); }

  void Reset() noexcept {
    if (T* const old = std::exchange(pointer_, nullptr)) old->Release();
  }

  // Releases the object and returns the pointer's address, for a call that hands out a reference.
  T** Put() noexcept {
    Reset();
    return &pointer_;
  }
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

 private:
  T* pointer_ = nullptr;
};

}  // namespace varnel
