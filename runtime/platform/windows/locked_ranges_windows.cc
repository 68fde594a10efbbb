// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/windows/locked_ranges_windows.h"

#include <atomic>
#include <cerrno>
#include <memory>
#include <new>

#include "runtime/platform/opened_file.h"
#include "runtime/platform/windows/system_windows.h"

namespace marigold::inner {

struct LockedRange {
  std::uint64_t offset = 0;
  std::uint64_t count = 0;
  bool exclusive = false;
  LockedRange* next = nullptr;

  [[nodiscard]] bool overlaps(std::uint64_t begin, std::uint64_t bytes) const {
    return offset < begin + bytes && begin < offset + count;
  }
  // A count of 0 means all bytes from the offset on.
  [[nodiscard]] bool lies_within(std::uint64_t begin, std::uint64_t bytes) const {
    return offset >= begin && (bytes == 0 || offset + count <= begin + bytes);
  }
};

namespace {

// Whether somebody holds an exclusive lock in a range that could not be locked a moment ago.
bool is_held_exclusively(const FileHandle& file, std::uint64_t offset, std::uint64_t count) {
  if (try_lock(file, offset, count, false) != 0) return true;
  static_cast<void>(unlock_range(file, offset, count));
  return false;
}

// Tries an exclusive lock some times, within some milliseconds.
int try_exclusively(const FileHandle& file, std::uint64_t offset, std::uint64_t count) {
  constexpr int kTries = 6;
  int failed = EAGAIN;
  for (int i = 0; failed == EAGAIN && i < kTries; ++i) {
    if (i > 0) Sleep(i < kTries / 2 ? 0 : 1);
    failed = try_lock(file, offset, count, true);
  }
  return failed;
}

// A byte that this process has tried in vain for the longest time.
std::atomic<std::uint64_t> tried_in_vain = 0;

// Tries a new exclusive lock. A process that looks for a holder has a shared lock for a moment,
// which is long if the system lets other processes go on within it. So while only shared locks are
// in the way, the lock is tried again, but once: a caller that comes again for the same byte waits
// by itself.
int try_patiently(const FileHandle& file, std::uint64_t offset, std::uint64_t count) {
  constexpr ULONGLONG kLongestMilliseconds = 250;
  if (tried_in_vain == offset) return try_exclusively(file, offset, count);
  const ULONGLONG end = GetTickCount64() + kLongestMilliseconds;
  int failed = try_exclusively(file, offset, count);
  while (failed == EAGAIN && !is_held_exclusively(file, offset, count)) {
    if (GetTickCount64() >= end) {
      tried_in_vain = offset;
      return EAGAIN;
    }
    failed = try_exclusively(file, offset, count);
  }
  return failed;
}

// The holder of an exclusive lock may add a shared one, so that nobody comes between. Windows then
// has both locks, and unlocks the exclusive one first. Wine has the shared one alone. Which of them
// this is shows on a byte that nobody else locks: an exclusive lock excludes the holder's own.
bool shared_replaces_exclusive(const FileHandle& file) {
  static std::atomic<int> answer = -1;
  if (answer >= 0) return answer == 1;
  const std::uint64_t byte = kPlatformLocks + GetCurrentProcessId();
  if (try_lock(file, byte, 1, true) != 0) return false;
  static_cast<void>(try_lock(file, byte, 1, false));
  static_cast<void>(unlock_range(file, byte, 1));
  answer = try_lock(file, byte, 1, true) == 0 ? 1 : 0;
  static_cast<void>(unlock_range(file, byte, 1));
  return answer == 1;
}

// Takes a shared lock back that was given away for a moment. Only a probe of another process can
// hold the range now, and for a moment too.
void take_back(const FileHandle& file, const LockedRange& range) {
  while (try_lock(file, range.offset, range.count, false) != 0)
    Sleep(0);
}

}  // namespace

LockedRange* LockedRanges::first() const {
  return reinterpret_cast<LockedRange*>(list_);  // NOLINT(performance-no-int-to-ptr)
}

LockedRange* LockedRanges::find(std::uint64_t offset, std::uint64_t count) const {
  for (LockedRange* range = first(); range != nullptr; range = range->next)
    if (range->offset == offset && range->count == count) return range;
  return nullptr;
}

int LockedRanges::take(std::uint64_t offset, std::uint64_t count, bool exclusive) {
  LockedRange* const range = find(offset, count);
  if (range == nullptr) return add(offset, count, exclusive);
  if (range->exclusive == exclusive) return 0;
  return exclusive ? raise(*range) : lower(*range);
}

// Notes the range before it is locked, so that none is ever locked without a note.
int LockedRanges::add(std::uint64_t offset, std::uint64_t count, bool exclusive) {
  std::unique_ptr<LockedRange> range(new (std::nothrow) LockedRange{offset, count, exclusive});
  if (range == nullptr) return ENOMEM;
  const int failed =
      exclusive ? try_patiently(file_, offset, count) : try_lock(file_, offset, count, false);
  if (failed != 0) return failed;
  if (tried_in_vain == offset) tried_in_vain = 0;
  range->next = first();
  list_ = reinterpret_cast<std::uintptr_t>(range.release());
  return 0;
}

int LockedRanges::raise(LockedRange& range) {
  if (const int failed = unlock_range(file_, range.offset, range.count)) return failed;
  const int failed = try_exclusively(file_, range.offset, range.count);
  if (failed != 0) take_back(file_, range);
  range.exclusive = failed == 0;
  return failed;
}

int LockedRanges::lower(LockedRange& range) {
  const bool replaces = shared_replaces_exclusive(file_);
  if (const int failed = try_lock(file_, range.offset, range.count, false)) return failed;
  range.exclusive = false;
  return replaces ? 0 : unlock_range(file_, range.offset, range.count);
}

int LockedRanges::release(std::uint64_t offset, std::uint64_t count) {
  int result = 0;
  LockedRange* before = nullptr;
  for (LockedRange* range = first(); range != nullptr;) {
    LockedRange* const next = range->next;
    if (!range->lies_within(offset, count)) {
      before = range;
    } else {
      if (const int failed = unlock_range(file_, range->offset, range->count)) result = failed;
      if (before != nullptr)
        before->next = next;
      else
        list_ = reinterpret_cast<std::uintptr_t>(next);
      delete range;
    }
    range = next;
  }
  return result;
}

void LockedRanges::release_all() {
  static_cast<void>(release(0, 0));
}

LockedRange* LockedRanges::overlapping(std::uint64_t offset, std::uint64_t count,
                                       bool exclusive) const {
  for (LockedRange* range = first(); range != nullptr; range = range->next)
    if (range->exclusive == exclusive && range->overlaps(offset, count)) return range;
  return nullptr;
}

int LockedRanges::find_other(std::uint64_t offset, std::uint64_t count, bool& locked) {
  locked = false;
  // Bytes that this object holds exclusively are nobody else's.
  if (const LockedRange* const own = overlapping(offset, count, true)) {
    const std::uint64_t end = offset + count;
    const std::uint64_t own_end = own->offset + own->count;
    int failed = 0;
    if (own->offset > offset) failed = find_other(offset, own->offset - offset, locked);
    if (failed == 0 && !locked && own_end < end)
      failed = find_other(own_end, end - own_end, locked);
    return failed;
  }
  return probe(offset, count, locked);
}

int LockedRanges::probe(std::uint64_t offset, std::uint64_t count, bool& locked) const {
  for (LockedRange* own = first(); own != nullptr; own = own->next)
    if (own->overlaps(offset, count))
      static_cast<void>(unlock_range(file_, own->offset, own->count));
  int failed = try_exclusively(file_, offset, count);
  locked = failed == EAGAIN;
  if (failed == 0) failed = unlock_range(file_, offset, count);
  for (LockedRange* own = first(); own != nullptr; own = own->next)
    if (own->overlaps(offset, count)) take_back(file_, *own);
  return locked ? 0 : failed;
}

int LockedRanges::find_other_exclusive(std::uint64_t offset, bool& locked) const {
  locked = false;
  if (overlapping(offset, 1, true) != nullptr || overlapping(offset, 1, false) != nullptr) return 0;
  const int failed = try_lock(file_, offset, 1, false);
  locked = failed == EAGAIN;
  return failed == 0 ? unlock_range(file_, offset, 1) : locked ? 0 : failed;
}

}  // namespace marigold::inner
