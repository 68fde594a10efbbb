// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/use_locks.h"

#include <cerrno>

#include "runtime/isam/common/checksum.h"
#include "runtime/isam/common/reason.h"

namespace marigold::inner::isam {
namespace {

int as_refusal(int failed) {
  return failed == EAGAIN ? kIsFileLocked : failed;
}

// Whether a process of another run has the file open, or one that has it for itself and may only
// read.
int others_exclude(const File& file, std::uint64_t own_run, bool& excluded) {
  const std::uint64_t behind = kRunLocks + kRunLockBytes;
  bool below = false;
  bool above = false;
  int failed = file.index.locked_by_other(kAloneLock, below, own_run - kAloneLock);
  if (failed == 0) failed = file.index.locked_by_other(own_run + 1, above, behind - own_run - 1);
  excluded = below || above;
  return failed;
}

// Makes a process the only one that has the file open, if it may not write it. Such a process can
// take only shared locks: it locks the byte for this case, looks for others, and others see its
// lock.
int be_alone(File& file) {
  if (const int failed = file.index.lock(kAloneLock, false)) return as_refusal(failed);
  bool others = false;
  const int failed = file.index.locked_by_other(kUseLock, others);
  return others ? kIsFileLocked : failed;
}

// Takes the use lock between taking the register lock and giving it back, by the file's functions.
template <typename Lock, typename Unlock>
int take_registered(Lock lock, Unlock unlock) {
  int failed = lock(kRegisterLock);
  if (failed == 0) {
    failed = lock(kUseLock);
    const int not_unlocked = unlock(kRegisterLock);
    if (failed == 0) failed = not_unlocked;
  }
  return as_refusal(failed);
}

}  // namespace

int has_other_users(const File& file, bool& others) {
  others = false;
  return file.exclusive ? 0 : file.index.locked_by_other(kUseLock, others);
}

int hold_if_alone(File& file) {
  return file.index.lock_if_alone(kUseLock);
}

int take_closed_index(MappedFile& index) {
  return take_registered([&](std::uint64_t byte) { return index.lock(byte, true); },
                         [&](std::uint64_t byte) { return index.unlock(byte); });
}

int take_closed_index(RecordFile& index) {
  return take_registered([&](std::uint64_t byte) { return index.lock(byte, 1, true); },
                         [&](std::uint64_t byte) { return index.unlock(byte, 1); });
}

int take_run_lock(File& file) {
  const std::uint64_t run = kRunLocks + long_checksum(boot_identity()) % (kRunLockBytes - 1);
  if (const int failed = file.index.lock(run, false)) return as_refusal(failed);
  bool excluded = false;
  if (const int failed = others_exclude(file, run, excluded)) return failed;
  return excluded ? refuse(kIsFileLocked,
                           "a process of another machine, or an exclusive reader, has it open")
                  : 0;
}

int take_use_lock(File& file) {
  const bool alone = file.exclusive && !file.writable;
  if (const int failed = file.index.lock(kUseLock, file.exclusive && file.writable))
    return as_refusal(failed);
  if (const int failed = alone ? be_alone(file) : 0) return failed;
  return take_run_lock(file);
}

int take_seat(File& file) {
  if (!file.writable || file.exclusive) return 0;
  int failed = EAGAIN;
  for (file.seat = 0; failed == EAGAIN && file.seat < kSeats; ++file.seat) {
    failed = file.index.lock(kSeatLocks + file.seat, true);
  }
  --file.seat;
  return failed == EAGAIN ? kIsNoLock : failed;
}

}  // namespace marigold::inner::isam
