#pragma once

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <atomic>
#include <string>

namespace varnel {

// This library in its process: its handle, the count of references that keep it loaded, and its type
// information, which is loaded on first use and kept until the library is unloaded. Any thread may call.
class Module {
 public:
  static Module& Instance() noexcept;

  // For process attach and detach only, when no other function of the library runs.
  void Attach(HINSTANCE handle) noexcept { handle_ = handle; }
  void Detach() noexcept;

  HINSTANCE Handle() const noexcept { return handle_; }
  // Returns the full path of the library's file. Throws HResultError.
  std::wstring Path() const;

  // COM may unload the library while the count is 0.
  void Lock() noexcept { ++locks_; }
  void Unlock() noexcept { --locks_; }
  bool IsLocked() const noexcept { return locks_ != 0; }

  // Hands out the type information of the default interface of one of the library's classes. The caller
  // releases it. Returns TYPE_E_ELEMENTNOTFOUND for any other interface. A failure leaves *out unchanged.
  HRESULT GetTypeInfo(REFIID iid, ITypeInfo** out) noexcept;

 private:
  HRESULT LoadTypeInfo(REFIID iid, ITypeInfo** out);

  HINSTANCE handle_ = nullptr;
  std::atomic<LONG> locks_{0};
  // One for each interface, in the order of kDualInterfaces; null until it is first used. Plain pointers,
  // which Detach releases: a destructor would also run at process exit, when the code that it calls may be
  // gone.
  std::array<std::atomic<ITypeInfo*>, 2> typeInfos_{};
};

// Locks the module during its lifetime.
class ModuleReference {
 public:
  ModuleReference() noexcept { Module::Instance().Lock(); }
  ~ModuleReference() { Module::Instance().Unlock(); }
  ModuleReference(const ModuleReference&) = delete;
  ModuleReference& operator=(const ModuleReference&) = delete;
};

}  // namespace varnel
