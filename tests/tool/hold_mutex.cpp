// Has the save mutex until its input ends: held (hold), abandoned as by a killed saver (abandon), or with its
// name taken by an event (event). Prints a line when that is so.

#include "base/handles.h"
#include "events/event_file.h"

#include <cstdio>
#include <string_view>

namespace {

DWORD WINAPI Take(void* mutex) {
  return WaitForSingleObject(mutex, INFINITE);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view way = count > 1 ? arguments[1] : "hold";
  const varnel::KernelHandle object(way == "event"
                                        ? CreateEventW(nullptr, FALSE, FALSE, varnel::kSaveMutexName)
                                        : CreateMutexW(nullptr, FALSE, varnel::kSaveMutexName));
  if (way == "hold") {
    Take(object.Get());
  } else if (way == "abandon") {
    const varnel::KernelHandle thread(CreateThread(nullptr, 0, Take, object.Get(), 0, nullptr));
    WaitForSingleObject(thread.Get(), INFINITE);  // a thread that ends without giving it back
  }
  std::puts("ready");
  std::fflush(stdout);
  std::getchar();
}
