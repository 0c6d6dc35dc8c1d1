#pragma once

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <atomic>
#include <string>

namespace varnel {

// The one instance of this library in its process: what keeps it loaded, and the type information that it
// keeps until it is unloaded. Any thread may call.
class Module {
 public:
  static Module& Instance() noexcept;

  // Process attach and detach; nothing else runs meanwhile.
  void Attach(HINSTANCE handle) noexcept { handle_ = handle; }
  void Detach() noexcept;

  HINSTANCE Handle() const noexcept { return handle_; }
  // The full path of the library's file. Throws HResultError.
  std::wstring Path() const;

  // The library may be unloaded while the count is 0.
  void Lock() noexcept { ++locks_; }
  void Unlock() noexcept { --locks_; }
  bool IsLocked() const noexcept { return locks_ != 0; }

  // The type information of a dual interface of the library; the caller releases it.
  HRESULT GetTypeInfo(REFIID iid, ITypeInfo** out) noexcept;

 private:
  HRESULT LoadTypeInfo(REFIID iid, ITypeInfo** out);

  HINSTANCE handle_ = nullptr;
  std::atomic<LONG> locks_{0};
  // Of the interfaces that are asked for, in the order of kDualInterfaces. Plain pointers, released by
  // Detach: at the end of the process nothing may be released any more.
  std::array<std::atomic<ITypeInfo*>, 2> typeInfos_{};
};

// Keeps the module loaded for as long as it lives.
class ModuleReference {
 public:
  ModuleReference() noexcept { Module::Instance().Lock(); }
  ~ModuleReference() { Module::Instance().Unlock(); }
  ModuleReference(const ModuleReference&) = delete;
  ModuleReference& operator=(const ModuleReference&) = delete;
};

}  // namespace varnel
