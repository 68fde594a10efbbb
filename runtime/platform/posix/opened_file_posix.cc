// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/opened_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <type_traits>
#include <utility>

#include "runtime/platform/posix/bus_errors_posix.h"
#include "runtime/platform/posix/byte_locks_posix.h"

namespace marigold::inner {
namespace {

static_assert(std::is_same_v<std::sig_atomic_t, int>, "a handler of signals sets OpenedFile::hit_");

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

void OpenedFile::unmap() {
  if (memory_ == nullptr) return;
  munmap(memory_, mapped_);
  bus_errors_release();
  memory_ = nullptr;
  mapped_ = 0;
  if (hit_ == kFilledIn) hit_ = kStopped;  // the private pages are gone
}

void OpenedFile::forget() {
  unmap();
  static_cast<void>(handle_.close());
  locks_ = 0;
  hit_ = kNotHit;
  next_ = nullptr;
  previous_ = nullptr;
}

void OpenedFile::take(FileHandle file) {
  close();
  if (!state.watches_forks) {
    // Without this handler a forked child would keep the locks unnoticed, so a failure ends the
    // process.
    if (pthread_atfork(nullptr, nullptr, forget_all) != 0) std::abort();
    state.watches_forks = true;
  }
  handle_ = std::move(file);
  next_ = state.first;
  if (next_ != nullptr) next_->previous_ = this;
  state.first = this;
}

void OpenedFile::close() {
  if (!is_open()) return;
  // Gives the locks back, because another process may have inherited or received the descriptor and
  // closing alone would leave the locks in force.
  if (locks_ != 0) set_byte_lock(handle_, F_UNLCK, 0, 0);
  if (next_ != nullptr) next_->previous_ = previous_;
  (previous_ != nullptr ? previous_->next_ : state.first) = next_;
  forget();
}

int OpenedFile::set_lock(Lock kind, std::uint64_t offset, std::uint64_t count) {
  if (kind != Lock::kNone && !are_for_locks(offset, count)) return EINVAL;
  locks_ = 1;
  static constexpr std::array<short, 3> kOfSystem = {F_UNLCK, F_RDLCK, F_WRLCK};
  return set_byte_lock(handle_, kOfSystem[static_cast<std::size_t>(kind)], offset, count);
}

}  // namespace marigold::inner
