#pragma once

#include <windows.h>

#include <cstddef>

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

// A replacement for malloc without memory.
inline void* NoMemory(std::size_t) {
  return nullptr;
}

}  // namespace varnel::test
