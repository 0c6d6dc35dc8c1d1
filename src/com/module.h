#pragma once

#include "base/locks.h"
#include "com/class_object.h"
#include "com/class_table.h"

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <string>

namespace varnel {

// The one instance of this library in its process: what keeps it loaded, and what it caches until it is
// unloaded. Any thread may call.
class Module {
 public:
  static Module& Instance() noexcept;

  // Process attach and detach; nothing else runs meanwhile.
  void Attach(HINSTANCE handle) noexcept { handle_ = handle; }
  void Detach() noexcept;

  HINSTANCE Handle() const noexcept { return handle_; }
  // The full path of the library's file. Throws std::bad_alloc, HResultError.
  std::wstring Path() const;

  // The library may be unloaded while the count is 0.
  void Lock() noexcept { InterlockedIncrement(&locks_); }
  void Unlock() noexcept { InterlockedDecrement(&locks_); }
  bool IsLocked() const noexcept { return locks_ != 0; }

  // The class object of a class in the table, made at the first request; CLASS_E_CLASSNOTAVAILABLE for
  // another class.
  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept;

  // The type information of a dual interface of the library; the caller releases it.
  HRESULT GetTypeInfo(REFIID iid, ITypeInfo** out) noexcept;

 private:
  struct CachedTypeInfo {
    IID iid;
    ITypeInfo* info;
  };

  HRESULT LoadTypeInfo(REFIID iid, ITypeInfo** out);

  HINSTANCE handle_ = nullptr;
  volatile LONG locks_ = 0;
  SRWLOCK lock_{};  // guards the making of what is cached
  // Plain pointers, released by Detach: at the end of the process nothing may be released any more.
  std::array<ClassObject*, kClassCount> classObjects_{};
  std::array<CachedTypeInfo, kClassCount> typeInfos_{};
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
