// SPDX-License-Identifier: GPL-3.0-or-later
// The common part of mapped files and files with locks: the process knows all open files, so that a
// forked child keeps none of them.
//
// A lock belongs to the open file and not to the process, so an inherited descriptor would keep the
// lock while the child lives, even after the parent's death. The child therefore closes every file
// of the parent at once and unmaps its memory. That gives no lock back, because the parent still
// has the files open. A child made without the handlers of pthread_atfork (vfork, posix_spawn,
// clone) must execute another program, which inherits nothing.
//
// Only one thread opens, closes and forks.
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace marigold::inner {

class OpenedFile {
 public:
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  // Also false for a file that a forked child has inherited.
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  // Unmaps, gives all locks of this object back, even if another process has the descriptor too,
  // and closes.
  void close();

  // For the handler of SIGBUS: whether the page belongs to a mapped file and can be touched now.
  // See missing_page.h.
  static bool meet_missing_page(void* at);

 protected:
  OpenedFile() = default;
  ~OpenedFile() { close(); }

  // Closes an open file and takes the descriptor over.
  void take(int descriptor);
  // Like set_byte_lock.
  int set_lock(short kind, std::uint64_t offset, std::uint64_t count);

  int descriptor_ = -1;
  std::byte* memory_ = nullptr;
  std::uint64_t mapped_ = 0;
  bool writable_ = false;

  // State after a missing page: kStopped has not changed the view, kFilledIn has put private pages
  // into it.
  enum Hit : std::sig_atomic_t { kNotHit, kStopped, kFilledIn };
  volatile std::sig_atomic_t hit_ = kNotHit;
  volatile int hit_reason_ = 0;

 private:
  bool meet(std::uint64_t offset);
  bool fill_in(std::uint64_t offset);

  static void forget_all();
  void forget();

  bool had_locks_ = false;
  OpenedFile* next_ = nullptr;
  OpenedFile* previous_ = nullptr;
};

}  // namespace marigold::inner
