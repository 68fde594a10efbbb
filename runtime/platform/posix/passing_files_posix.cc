// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/passing_files.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace marigold::inner {
namespace {

constexpr int kEndSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGABRT};

using NotedPath = std::atomic<const char*>;
static_assert(NotedPath::is_always_lock_free, "a handler reads them");
std::array<NotedPath, 4> paths{};
std::atomic<pid_t> owner = 0;  // a child must not remove its parent's files

bool has_handler(int signal, void (*handler)(int)) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
         action.sa_handler == handler;
}

// The signal is blocked during its own handler and takes effect when the handler returns.
void end_process(int signal) {
  const int error = errno;
  passing_files_remove();
  std::signal(signal, SIG_DFL);
  raise(signal);
  errno = error;
}

void exchange_handlers(void (*from)(int), void (*to)(int)) {
  for (const int signal : kEndSignals)
    if (has_handler(signal, from)) std::signal(signal, to);
}

// Replaces one noted path by another. Returns whether `from` was found.
bool exchange_path(const char* from, const char* to) {
  NotedPath* const place =
      std::ranges::find_if(paths, [from](const NotedPath& path) { return path.load() == from; });
  if (place == paths.end()) return false;
  place->store(to);
  return true;
}

}  // namespace

void passing_file_note(const char* path) {
  if (owner.exchange(getpid()) == 0) std::atexit(passing_files_remove);
  if (exchange_path(path, path) || !exchange_path(nullptr, path)) return;
  exchange_handlers(SIG_DFL, end_process);
}

void passing_file_forget(const char* path) {
  exchange_path(path, nullptr);
  if (std::ranges::all_of(paths, [](const NotedPath& noted) { return noted == nullptr; }))
    exchange_handlers(end_process, SIG_DFL);
}

void passing_files_remove() {
  if (owner != getpid()) return;
  for (const NotedPath& path : paths)
    if (const char* const noted = path; noted != nullptr && unlink(noted) != 0) rmdir(noted);
}

}  // namespace marigold::inner
