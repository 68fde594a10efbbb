// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/passing_files.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>

#include "runtime/platform/new_file.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {
namespace {

using NotedPath = std::atomic<const char*>;
std::array<NotedPath, 4> paths{};
std::atomic<bool> is_set_up = false;

// Runs in a thread of the system when the user stops the process or closes its window; the next
// handler decides what follows.
BOOL WINAPI on_event(DWORD event) {
  static_cast<void>(event);
  passing_files_remove();
  return FALSE;
}

void on_abort(int signal) {
  passing_files_remove();
  std::signal(signal, SIG_DFL);
}

void set_up() {
  if (is_set_up.exchange(true)) return;
  std::atexit(passing_files_remove);
  SetConsoleCtrlHandler(on_event, TRUE);
  if (std::signal(SIGABRT, on_abort) != SIG_DFL) std::signal(SIGABRT, SIG_DFL);
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
  set_up();
  if (!exchange_path(path, path)) exchange_path(nullptr, path);
}

void passing_file_forget(const char* path) {
  exchange_path(path, nullptr);
}

void passing_files_remove() {
  for (const NotedPath& path : paths) {
    const char* const noted = path;
    if (noted != nullptr && file_remove(noted) != 0) file_remove_directory(noted);
  }
}

}  // namespace marigold::inner
