#include "console/streams.h"

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace varnel::tool {
namespace {

int DescriptorOf(Stream stream) {
  return stream == Stream::kOutput ? STDOUT_FILENO : STDERR_FILENO;
}

// True if the write can be tried again. Waits for a reader that shares a non-blocking stream.
bool CanGoOn(int descriptor) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN) return false;
  pollfd waiting{descriptor, POLLOUT, 0};
  return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

std::string DescribeError(SystemError error) {
  return std::system_category().message(static_cast<int>(error)) + " (" + std::to_string(error) + ")";
}

bool IsTerminal(Stream stream) {
  return isatty(DescriptorOf(stream)) != 0;
}

WriteResult Write(Stream stream, std::string_view utf8) {
  const int descriptor = DescriptorOf(stream);
  while (!utf8.empty()) {
    const ssize_t written = write(descriptor, utf8.data(), utf8.size());
    if (written >= 0) {
      utf8.remove_prefix(static_cast<std::size_t>(written));
    } else if (!CanGoOn(descriptor)) {
      return {false, errno == EPIPE, static_cast<SystemError>(errno)};
    }
  }
  return {true};
}

ReadResult ReadStandardInput(char* bytes, std::size_t most) {
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, bytes, most);
    if (count >= 0) return {static_cast<std::size_t>(count), 0};
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    if (errno == EAGAIN ? poll(&waiting, 1, -1) < 0 && errno != EINTR : errno != EINTR)
      return {0, static_cast<SystemError>(errno)};
  }
}

void Pause(std::chrono::milliseconds time) {
  timespec left{static_cast<time_t>(time.count() / 1000), static_cast<long>(time.count() % 1000) * 1'000'000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) continue;
}

}  // namespace varnel::tool
