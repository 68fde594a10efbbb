// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "runtime/platform/stream.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

constexpr int kFirstFreeDescriptor = 3;

// Waits for a stream that another process has made non-blocking.
void wait_until_writable(int descriptor) {
  pollfd waiting{.fd = descriptor, .events = POLLOUT, .revents = 0};
  poll(&waiting, 1, -1);
}

}  // namespace

void stream_start() {
  for (int descriptor = 0; descriptor < kFirstFreeDescriptor; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // open() returns the lowest free number, which is this one. Standard output becomes read-only,
    // so that a write to it fails visibly.
    const int mode = descriptor == static_cast<int>(Stream::kError) ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", mode) != descriptor) return;
  }
  std::signal(SIGPIPE, SIG_IGN);
}

int stream_write(Stream stream, std::string_view bytes) {
  const int descriptor = static_cast<int>(stream);
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      wait_until_writable(descriptor);
    } else if (errno != EINTR) {
      return system_error();
    }
  }
  return 0;
}

bool stream_is_terminal(Stream stream) {
  return isatty(static_cast<int>(stream)) == 1;
}

}  // namespace marigold::inner
