// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/record_lock.h"

#include <cerrno>

#include "runtime/isam/checksum.h"
#include "runtime/isam/hit.h"
#include "runtime/isam/record.h"

namespace marigold::inner::isam {
namespace {

// Returns the byte that stands for records with this primary key.
std::uint64_t lock_byte(const File& file, const char* record) {
  const Probe probe = new_probe(file.trees[0], record, 0);
  const std::uint64_t drawn = long_checksum(std::span(probe).first(file.trees[0].key_length));
  return kRecordLocks + drawn % kRecordLockBytes;
}

}  // namespace

int record_lock(File& file, const char* record, std::uint64_t& byte) {
  if (file.exclusive) return 0;
  if (!file.writable) return kIsNoLock;
  byte = lock_byte(file, record);
  const int failed = file.index.lock(byte, true);
  if (failed == EAGAIN) return kIsLocked;
  if (failed != 0 || file.header().record_locks != 0) return failed;
  file.header().record_locks = 1;
  if (was_hit(file)) file.index.unlock(byte);  // others would not look for the lock
  return 0;
}

int record_unlock(File& file, std::uint64_t byte) {
  return file.exclusive ? 0 : file.index.unlock(byte);
}

int record_unlock_all(File& file) {
  return file.exclusive ? 0 : file.index.unlock(kRecordLocks, kRecordLockBytes);
}

int record_not_locked(const File& file, const char* record) {
  if (file.exclusive || file.header().record_locks == 0) return 0;
  bool locked = false;
  const int failed = file.index.locked_exclusively_by_other(lock_byte(file, record), locked);
  if (failed != 0) return failed;
  return locked ? kIsLocked : 0;
}

}  // namespace marigold::inner::isam
