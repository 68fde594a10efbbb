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

#include <cstddef>
#include <cstdint>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

// Bytes that processes lock lie far beyond the contents of every file: some systems let nobody read
// or write a byte that somebody else has locked. The last ones belong to this floor.
inline constexpr std::uint64_t kFirstLock = std::uint64_t{1} << 62;
inline constexpr std::uint64_t kPlatformLocks = std::uint64_t{7} << 60;

class OpenedFile {
 public:
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  // Also false for a file that a forked child has inherited.
  [[nodiscard]] bool is_open() const { return handle_.is_open(); }
  // Unmaps, gives all locks of this object back, even if another process has the descriptor too,
  // and closes.
  void close();

  // For the handler of SIGBUS: whether the page belongs to a mapped file and can be touched now.
  // See missing_page.h.
  static bool meet_missing_page(void* at);

 protected:
  OpenedFile() = default;
  ~OpenedFile() { close(); }

  enum class Lock { kNone, kShared, kExclusive };

  // See MappedFile.
  void unmap();
  // Closes an open file and takes the other one over.
  void take(FileHandle file);
  // Gives bytes this kind of lock, whatever kind they have. EAGAIN if another object has locked one
  // of them in a way that excludes the lock; EINVAL for bytes that are not between kFirstLock and
  // kPlatformLocks.
  int set_lock(Lock kind, std::uint64_t offset, std::uint64_t count);

  FileHandle handle_;
  std::byte* memory_ = nullptr;
  std::uint64_t mapped_ = 0;
  bool writable_ = false;
  // The system's note of this object's locks; 0: it has taken none. A system that unlocks only
  // exactly what was locked has the address of its list here.
  std::uintptr_t locks_ = 0;

  // State after a missing page: kStopped has not changed the view, kFilledIn has put private pages
  // into it.
  enum Hit : int { kNotHit, kStopped, kFilledIn };
  volatile int hit_ = kNotHit;
  volatile int hit_reason_ = 0;

  static constexpr bool are_for_locks(std::uint64_t offset, std::uint64_t count) {
    return offset >= kFirstLock && offset < kPlatformLocks && count <= kPlatformLocks - offset;
  }

 private:
  bool meet(std::uint64_t offset);
  bool fill_in(std::uint64_t offset);

  static void forget_all();
  void forget();

  OpenedFile* next_ = nullptr;
  OpenedFile* previous_ = nullptr;
};

}  // namespace marigold::inner
