// Holds the save mutex until its input ends; with an argument it leaves the mutex abandoned instead, as a
// killed saver does. Prints a line when that is so.

#include "base/handles.h"
#include "events/event_file.h"

#include <cstdio>

namespace {

DWORD WINAPI Take(void* mutex) {
  return WaitForSingleObject(mutex, INFINITE);
}

}  // namespace

int main(int count, char**) {
  const varnel::KernelHandle mutex(CreateMutexW(nullptr, FALSE, varnel::kSaveMutexName));
  if (count == 1) {
    Take(mutex.Get());
  } else {
    const varnel::KernelHandle thread(CreateThread(nullptr, 0, Take, mutex.Get(), 0, nullptr));
    WaitForSingleObject(thread.Get(), INFINITE);  // a thread that ends without giving it back
  }
  std::puts("ready");
  std::fflush(stdout);
  std::getchar();
}
