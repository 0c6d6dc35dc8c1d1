#pragma once

#include <windows.h>

namespace varnel::test {

// Puts another function in the place of one that a loaded module imports, for that module alone, while it
// lives. The module's code is the product's own: nothing in it is made for this.
class ImportHook {
 public:
  // Fails the test when the module does not import the function.
  ImportHook(HMODULE module, const char* function, void* replacement);
  ~ImportHook();
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  void* Original() const noexcept { return original_; }

 private:
  void** place_;
  void* original_ = nullptr;
};

}  // namespace varnel::test
