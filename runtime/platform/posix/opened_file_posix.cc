// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/opened_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "runtime/platform/posix/bus_errors_posix.h"
#include "runtime/platform/posix/byte_locks_posix.h"

namespace marigold::inner {
namespace {

struct State {
  OpenedFile* first = nullptr;
  bool watches_forks = false;
};
constinit State state;

}  // namespace

bool OpenedFile::meet_missing_page(void* at) {
  const auto* address = static_cast<std::byte*>(at);
  for (OpenedFile* file = state.first; file != nullptr; file = file->next_) {
    const std::byte* const begin = file->memory_;
    if (begin == nullptr || address < begin || address >= begin + file->mapped_) continue;
    return file->meet(static_cast<std::uint64_t>(address - begin));
  }
  return false;
}

// Runs in a child before fork returns, so it makes only system calls that are allowed in a signal
// handler.
void OpenedFile::forget_all() {
  while (state.first != nullptr) {
    OpenedFile* const file = state.first;
    state.first = file->next_;
    file->forget();
  }
}

void OpenedFile::forget() {
  if (memory_ != nullptr) {
    munmap(memory_, mapped_);
    bus_errors_release();
  }
  if (descriptor_ >= 0) ::close(descriptor_);
  memory_ = nullptr;
  mapped_ = 0;
  descriptor_ = -1;
  had_locks_ = false;
  hit_ = kNotHit;
  next_ = nullptr;
  previous_ = nullptr;
}

void OpenedFile::take(int descriptor) {
  close();
  if (!state.watches_forks) {
    // Without this handler a forked child would keep the locks unnoticed, so a failure ends the
    // process.
    if (pthread_atfork(nullptr, nullptr, forget_all) != 0) std::abort();
    state.watches_forks = true;
  }
  descriptor_ = descriptor;
  next_ = state.first;
  if (next_ != nullptr) next_->previous_ = this;
  state.first = this;
}

void OpenedFile::close() {
  if (!is_open()) return;
  // Gives the locks back, because another process may have inherited or received the descriptor and
  // closing alone would leave the locks in force.
  if (had_locks_) set_byte_lock(descriptor_, F_UNLCK, 0, 0);
  if (next_ != nullptr) next_->previous_ = previous_;
  (previous_ != nullptr ? previous_->next_ : state.first) = next_;
  forget();
}

int OpenedFile::set_lock(short kind, std::uint64_t offset, std::uint64_t count) {
  had_locks_ = true;
  return set_byte_lock(descriptor_, kind, offset, count);
}

}  // namespace marigold::inner
