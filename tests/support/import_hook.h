#pragma once

#include <windows.h>

#include <cstddef>
#include <string_view>

namespace varnel::test {

// Replaces a function that a loaded module imports, for that module only, during its lifetime. The product
// needs no code for this.
class ImportHook {
 public:
  // Fails the test if the module does not import the function.
  template <class Function>
  ImportHook(HMODULE module, const char* function, Function* replacement)
      : ImportHook(module, function, reinterpret_cast<void*>(replacement)) {}
  ~ImportHook();
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  void* Original() const noexcept { return original_; }

 private:
  ImportHook(HMODULE module, const char* function, void* replacement);

  void** place_;
  void* original_ = nullptr;
};

// Replaces what a loaded module gets from GetProcAddress for one name, during its lifetime. One at a time.
class ExportHook {
 public:
  template <class Function>
  ExportHook(HMODULE module, const char* name, Function* replacement)
      : hook_(module, "GetProcAddress", &Find) {
    name_ = name;
    replacement_ = reinterpret_cast<FARPROC>(reinterpret_cast<void*>(replacement));
    original_ = reinterpret_cast<decltype(&GetProcAddress)>(hook_.Original());
  }

 private:
  static FARPROC WINAPI Find(HMODULE module, const char* name) {
    return name_ == name ? replacement_ : original_(module, name);
  }

  static inline std::string_view name_;
  static inline FARPROC replacement_;
  static inline decltype(&GetProcAddress) original_;
  ImportHook hook_;
};

// A replacement for malloc without memory.
inline void* NoMemory(std::size_t) {
  return nullptr;
}

}  // namespace varnel::test
