#pragma once

#include <windows.h>

#include <cstddef>

namespace varnel::test {

// Puts another function in the place of one that a loaded module imports, for that module alone, while it
// lives. The module's code is the product's own: nothing in it is made for this.
class ImportHook {
 public:
  // Fails the test when the module does not import the function.
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

// In the place of malloc: whatever needs memory throws.
inline void* NoMemory(std::size_t) {
  return nullptr;
}

}  // namespace varnel::test
