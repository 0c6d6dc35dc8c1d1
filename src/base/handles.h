#pragma once

#include <windows.h>

#include <utility>

namespace varnel {

// Sole owner of one operating-system resource. The traits have:
//   using Type = ...;                      the raw value
//   static Type Invalid() noexcept;        the value that means "none"
//   static void Close(Type) noexcept;      called once for every other value
// Movable, not copyable. Not synchronised.
template <class Traits>
class UniqueResource {
 public:
  using Type = typename Traits::Type;

  UniqueResource() noexcept = default;
  explicit UniqueResource(Type value) noexcept : value_(value) {}
  UniqueResource(UniqueResource&& other) noexcept : value_(other.Detach()) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    if (this == &other) return *this;
    Reset();  // also when both have the same value: each reference to a library is given back
    value_ = other.Detach();
    return *this;
  }
  ~UniqueResource() { Reset(); }

  Type Get() const noexcept { return value_; }
  explicit operator bool() const noexcept { return value_ != Traits::Invalid(); }

  // Gives up ownership without closing.
  [[nodiscard]] Type Detach() noexcept { return std::exchange(value_, Traits::Invalid()); }

  // Closes the resource and takes ownership of `value`.
  void Reset(Type value = Traits::Invalid()) noexcept {
    const Type old = std::exchange(value_, value);
    if (old != Traits::Invalid() && old != value) Traits::Close(old);
  }

  // Closes the resource and returns the value's address, for a call that hands out a new one.
  Type* Put() noexcept {
    Reset();
    return &value_;
  }

 private:
  Type value_ = Traits::Invalid();
};

// Mutexes, tokens and other handles whose "none" is null.
struct KernelHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type handle) noexcept { CloseHandle(handle); }
};
using KernelHandle = UniqueResource<KernelHandleTraits>;

// Handles from CreateFile, whose "none" is INVALID_HANDLE_VALUE.
struct FileHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { CloseHandle(handle); }
};
using FileHandle = UniqueResource<FileHandleTraits>;

struct LibraryTraits {
  using Type = HMODULE;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type library) noexcept { FreeLibrary(library); }
};
using LoadedLibrary = UniqueResource<LibraryTraits>;

struct RegistryKeyTraits {
  using Type = HKEY;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type key) noexcept { RegCloseKey(key); }
};
using RegistryKey = UniqueResource<RegistryKeyTraits>;

}  // namespace varnel
