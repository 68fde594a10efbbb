// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/record_lock.h"

#include <algorithm>
#include <cerrno>

#include "runtime/isam/common/checksum.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/record.h"

namespace marigold::inner::isam {
namespace {

// Returns the byte that stands for records with this primary key.
std::uint64_t lock_byte(const File& file, const char* record) {
  const Probe probe = new_probe(file.trees[0], record, 0);
  const std::uint64_t drawn = long_checksum(std::span(probe).first(file.trees[0].key_length));
  return kRecordLocks + drawn % kRecordLockBytes;
}

void note_lock(File& file, std::uint64_t byte) {
  const auto place = std::ranges::lower_bound(file.locked_bytes, byte);
  if (place == file.locked_bytes.end() || *place != byte) file.locked_bytes.insert(place, byte);
}

void forget_lock(File& file, std::uint64_t byte) {
  const auto place = std::ranges::lower_bound(file.locked_bytes, byte);
  if (place != file.locked_bytes.end() && *place == byte) file.locked_bytes.erase(place);
}

}  // namespace

int record_lock(File& file, const char* record, std::uint64_t& byte) {
  if (file.exclusive) return 0;
  if (!file.writable) return kIsNoLock;
  byte = lock_byte(file, record);
  note_lock(file, byte);
  const int failed = file.index.lock(byte, true);
  if (failed != 0) forget_lock(file, byte);
  if (failed == EAGAIN) return kIsLocked;
  if (failed != 0 || file.header().record_locks != 0) return failed;
  file.header().record_locks = 1;
  if (was_hit(file)) record_unlock(file, byte);  // others would not look for the lock
  return 0;
}

int record_lock_once(File& file, const char* record, bool& taken) {
  std::uint64_t byte = 0;
  taken =
      !file.exclusive && !std::ranges::binary_search(file.locked_bytes, lock_byte(file, record));
  const int failed = taken ? record_lock(file, record, byte) : 0;
  taken = taken && failed == 0;
  return failed;
}

int record_unlock(File& file, const char* record) {
  return record_unlock(file, lock_byte(file, record));
}

int record_unlock(File& file, std::uint64_t byte) {
  if (file.exclusive) return 0;
  forget_lock(file, byte);
  return file.index.unlock(byte);
}

int record_unlock_all(File& file) {
  if (file.exclusive) return 0;
  file.locked_bytes.clear();
  return file.index.unlock(kRecordLocks, kRecordLockBytes);
}

int record_not_locked(const File& file, const char* record) {
  if (file.exclusive || file.header().record_locks == 0) return 0;
  bool locked = false;
  const int failed = file.index.locked_exclusively_by_other(lock_byte(file, record), locked);
  if (failed != 0) return failed;
  return locked ? kIsLocked : 0;
}

int record_may_change(const File& file, const char* record) {
  if (const int failed = record_not_locked(file, record)) return failed;
  return file.header().mark != 0 && file.guard ? file.guard() : 0;
}

}  // namespace marigold::inner::isam
