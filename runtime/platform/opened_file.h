// What files that are mapped and files that hold locks have in common: the process knows all that
// are open, so that a child that is forked keeps nothing of them.
//
// A lock belongs to the open file and not to the process, so an inherited descriptor would keep it
// for as long as the child lives, also when the parent has died. In the child every file that the
// parent has open is therefore closed at once and its memory is gone; nothing is given back by
// that, since the parent still has all of it. Children that are made without the handlers of
// pthread_atfork (vfork, posix_spawn, clone) must execute another program, which inherits nothing.
//
// One thread opens, closes and forks.
#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace marigold {

class OpenedFile {
 public:
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  // False as well for what a forked process has inherited.
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  // Unmaps, gives all locks of this object back, whoever else has the descriptor, and closes.
  void close();

  // The handler's of SIGBUS: whether the page belongs to a mapped file and can be touched now. See
  // missing_page.h.
  static bool meet_missing_page(void* at);

 protected:
  OpenedFile() = default;
  ~OpenedFile() { close(); }

  // Closes what was open and takes the descriptor over.
  void take(int descriptor);
  // As set_byte_lock.
  int set_lock(short kind, std::uint64_t offset, std::uint64_t count);

  int descriptor_ = -1;
  std::byte* memory_ = nullptr;
  std::uint64_t mapped_ = 0;
  bool writable_ = false;

  // A page could not be had: nothing of the view has changed, or private pages stand in it.
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

}  // namespace marigold
