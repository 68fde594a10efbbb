// SPDX-License-Identifier: GPL-3.0-or-later
// The ranges that one object has locked. The system unlocks exactly what was locked, knows no call
// that changes a lock's kind, and none that says who holds a lock.
#pragma once

#include <cstdint>

#include "runtime/platform/file_handle.h"

namespace marigold::inner {

struct LockedRange;

// A view of the list that an open file keeps (OpenedFile::locks_).
class LockedRanges {
 public:
  LockedRanges(const FileHandle& file, std::uintptr_t& list) : file_(file), list_(list) {}

  // Locks a range, or gives a locked one this kind. EAGAIN; the range is then locked as before. A
  // shared lock is given back for a moment before it becomes exclusive: see
  // MappedFile::lock_if_alone.
  int take(std::uint64_t offset, std::uint64_t count, bool exclusive);
  // Unlocks all ranges within these bytes.
  int release(std::uint64_t offset, std::uint64_t count);
  void release_all();

  // Whether another object holds a lock of any kind on one of the bytes. Locks them for a moment,
  // and gives back this object's own shared locks meanwhile: see MappedFile::locked_by_other.
  int find_other(std::uint64_t offset, std::uint64_t count, bool& locked);
  // Whether another object holds an exclusive lock on the byte. Takes a shared lock for a moment.
  int find_other_exclusive(std::uint64_t offset, bool& locked) const;

 private:
  [[nodiscard]] LockedRange* first() const;
  [[nodiscard]] LockedRange* find(std::uint64_t offset, std::uint64_t count) const;
  [[nodiscard]] LockedRange* overlapping(std::uint64_t offset, std::uint64_t count,
                                         bool exclusive) const;
  int probe(std::uint64_t offset, std::uint64_t count, bool& locked) const;
  int add(std::uint64_t offset, std::uint64_t count, bool exclusive);
  int raise(LockedRange& range);
  int lower(LockedRange& range);

  const FileHandle& file_;
  std::uintptr_t& list_;
};

}  // namespace marigold::inner
