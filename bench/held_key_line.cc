// SPDX-License-Identifier: GPL-3.0-or-later
// Loaded into a program before its other libraries: makes a pty on standard output look like a
// serial line, whose driver reports how many bytes it has still to send and takes 4 KiB.

#include "bench/held_key_line.h"

#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>

namespace {

using marigold::inner::bench::HeldKeyLine;
using marigold::inner::bench::kLineBuffer;
using marigold::inner::bench::kLineDescriptor;

HeldKeyLine* line() {
  static HeldKeyLine* const shared = marigold::inner::bench::map_line(kLineDescriptor);
  return shared;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, std::size_t count) {  // NOLINT
  static auto* const real = next<ssize_t(int, const void*, std::size_t)>("write");
  if (descriptor != STDOUT_FILENO || line() == nullptr) return real(descriptor, bytes, count);
  while (line()->backlog() > 0 && line()->backlog() + static_cast<long>(count) > kLineBuffer)
    usleep(1000);
  const ssize_t written = real(descriptor, bytes, count);
  if (written > 0) line()->written += written;
  return written;
}

int ioctl(int descriptor, unsigned long request, ...) {  // NOLINT
  static auto* const real = next<int(int, unsigned long, ...)>("ioctl");
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (descriptor != STDOUT_FILENO || request != TIOCOUTQ || line() == nullptr)
    return real(descriptor, request, argument);
  *static_cast<int*>(argument) = static_cast<int>(line()->backlog());
  return 0;
}
}
