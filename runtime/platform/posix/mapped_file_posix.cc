// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"
#include "runtime/platform/posix/bus_errors_posix.h"
#include "runtime/platform/posix/byte_locks_posix.h"
#include "runtime/platform/posix/regular_file_posix.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {

int (*file_fault_hook)(FileCall call) = nullptr;
void (*file_synced_hook)(const MappedFile& file, std::uint64_t offset,
                         std::uint64_t bytes) = nullptr;

namespace {

constexpr std::uint64_t kSmallestMapping = 1 << 20;

int injected_fault(FileCall call) {
  return file_fault_hook == nullptr ? 0 : system_result(file_fault_hook(call));
}

// Writes zeros instead of touching the mapping: the system keeps written space in large pieces of
// memory, and space first touched through the mapping page by page; each piece costs time when it
// is written back.
int write_zeros(int descriptor, std::uint64_t from, std::uint64_t to) {
  static constexpr std::array<char, 1 << 18> kZeros{};
  while (from < to) {
    const std::uint64_t piece = std::min<std::uint64_t>(kZeros.size(), to - from);
    const ssize_t written = pwrite(descriptor, kZeros.data(), piece, static_cast<off_t>(from));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? system_error() : ENOSPC;
    from += static_cast<std::uint64_t>(written);
  }
  return 0;
}

// Replaces the view `before` by a longer one, and leaves `before` as it is on failure. If the
// system can move a view, its pages need no further page faults.
void* map_again(int descriptor, int protection, void* before, std::uint64_t mapped,
                std::uint64_t bytes, bool moves) {
#ifdef MREMAP_MAYMOVE
  if (before != nullptr && moves) return mremap(before, mapped, bytes, MREMAP_MAYMOVE);
#endif
  void* memory = mmap(nullptr, bytes, protection, MAP_SHARED, descriptor, 0);
  if (memory != MAP_FAILED && before != nullptr) munmap(before, mapped);
  return memory;
}

}  // namespace

int MappedFile::open(const char* path, FileAccess access) {
  if (const int fault = injected_fault(FileCall::kOpen)) return fault;
  const bool writable = access == FileAccess::kReadWrite;
  FileHandle file;
  if (const int failed = open_regular(path, writable, file)) return failed;
  take(std::move(file));
  writable_ = writable;
  return 0;
}

int MappedFile::create(const char* path, NewFileAccess access) {
  if (const int fault = injected_fault(FileCall::kOpen)) return fault;
  FileHandle file;
  if (const int failed = make_exclusively(path, access, file)) return failed;
  take(std::move(file));
  writable_ = true;
  return 0;
}

int MappedFile::take_access(const char* like) {
  return take_access_of(handle_, like);
}

int MappedFile::size(std::uint64_t& bytes) const {
  return size_of_open(handle_, bytes);
}

int MappedFile::identity(FileIdentity& identity) const {
  struct stat status {};
  if (fstat(descriptor_of(handle_), &status) != 0) return system_error();
  identity = {.device = static_cast<std::uint64_t>(status.st_dev),
              .number = static_cast<std::uint64_t>(status.st_ino)};
  return 0;
}

bool MappedFile::is_still_at(const char* path) const {
  return is_open_file_at(handle_, path);
}

int MappedFile::reserve(std::uint64_t bytes) {
  if (const int fault = injected_fault(FileCall::kReserve)) return fault;
  std::uint64_t present = 0;
  if (const int failed = size(present)) return failed;
  if (bytes <= present) return 0;
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && bytes > limit.rlim_cur) return EFBIG;
  int failed = system_result(posix_fallocate(descriptor_of(handle_), static_cast<off_t>(present),
                                             static_cast<off_t>(bytes - present)));
  if (failed == 0) failed = write_zeros(descriptor_of(handle_), present, bytes);
  // The file may have grown by a part of the space; a file longer than its header says would count
  // as damaged.
  if (failed != 0 && ftruncate(descriptor_of(handle_), static_cast<off_t>(present)) != 0)
    return system_error();
  return failed;
}

int MappedFile::truncate(std::uint64_t bytes) {
  return ftruncate(descriptor_of(handle_), static_cast<off_t>(bytes)) == 0 ? 0 : system_error();
}

int MappedFile::map(std::uint64_t bytes) {
  if (bytes <= mapped_) return 0;
  if (const int fault = injected_fault(FileCall::kMap)) return fault;
  bytes = std::max(kSmallestMapping, 2 * bytes);
  const int protection = writable_ ? PROT_READ | PROT_WRITE : PROT_READ;
  // A view with private pages cannot simply move, so it is mapped again without them.
  const bool moves = hit_ != kFilledIn;
  void* memory = map_again(descriptor_of(handle_), protection, memory_, mapped_, bytes, moves);
  if (memory == MAP_FAILED) return system_error();
  if (memory_ == nullptr) bus_errors_watch();
  if (hit_ == kFilledIn) hit_ = kStopped;
  memory_ = static_cast<std::byte*>(memory);
  mapped_ = bytes;
  return 0;
}

int MappedFile::view_again() {
  if (hit_ == kFilledIn) {
    if (const int fault = injected_fault(FileCall::kMap)) return fault;
    const int protection = writable_ ? PROT_READ | PROT_WRITE : PROT_READ;
    const int flags = MAP_SHARED | MAP_FIXED;
    if (mmap(memory_, mapped_, protection, flags, descriptor_of(handle_), 0) == MAP_FAILED)
      return system_error();
  }
  hit_ = kNotHit;
  return hit_reason_;
}

int MappedFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
  return read_exactly(handle_, offset, bytes);
}

// A shared view loses nothing: the stored bytes belong to the file.
void MappedFile::forget(std::uint64_t offset, std::uint64_t bytes) const {
  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t begin = offset / page * page;
  const std::uint64_t end = std::min(offset + bytes, mapped_) / page * page;
  if (begin < end) static_cast<void>(madvise(memory_ + begin, end - begin, MADV_DONTNEED));
}

int MappedFile::sync() {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (was_hit()) return hit_reason_ == ENODATA ? EIO : hit_reason_;
  if (fdatasync(descriptor_of(handle_)) != 0) return system_error();
  std::uint64_t bytes = 0;
  if (file_synced_hook != nullptr && size(bytes) == 0) file_synced_hook(*this, 0, bytes);
  return 0;
}

int MappedFile::sync_part(std::uint64_t offset, std::uint64_t bytes) {
  if (const int fault = injected_fault(FileCall::kSync)) return fault;
  if (was_hit()) return hit_reason_ == ENODATA ? EIO : hit_reason_;
  const std::uint64_t before = offset % static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  if (msync(memory_ + offset - before, bytes + before, MS_SYNC) != 0) return system_error();
  if (file_synced_hook != nullptr) file_synced_hook(*this, offset, bytes);
  return 0;
}

void MappedFile::start_sync(std::uint64_t offset, std::uint64_t bytes) {
#ifdef SYNC_FILE_RANGE_WRITE
  // The sync that follows reports a failure.
  static_cast<void>(sync_file_range(descriptor_of(handle_), static_cast<off_t>(offset),
                                    static_cast<off_t>(bytes), SYNC_FILE_RANGE_WRITE));
#else
  static_cast<void>(offset);
  static_cast<void>(bytes);
#endif
}

int MappedFile::lock(std::uint64_t offset, bool exclusive) {
  if (const int fault = injected_fault(FileCall::kLock)) return fault;
  return set_lock(exclusive ? Lock::kExclusive : Lock::kShared, offset, 1);
}

// The system changes the kind in one step, whoever else locks the byte meanwhile.
int MappedFile::lock_if_alone(std::uint64_t offset) {
  return lock(offset, true);
}

// In a file that is open for reading alone the system returns EBADF.
bool MappedFile::may_lock_exclusively() const {
  return writable_;
}

int MappedFile::unlock(std::uint64_t offset, std::uint64_t count) {
  return set_lock(Lock::kNone, offset, count);
}

int MappedFile::locked_by_other(std::uint64_t offset, bool& locked, std::uint64_t count) const {
  return range_locked_by_other(handle_, offset, count, F_WRLCK, locked);
}

int MappedFile::locked_exclusively_by_other(std::uint64_t offset, bool& locked) const {
  return byte_locked_exclusively_by_other(handle_, offset, locked);
}

void wait_a_little(int round) {
  constexpr int kSpinningRounds = 10;
  constexpr long kLongestNanoseconds = 1'000'000;
  if (round < kSpinningRounds) {
    sched_yield();
    return;
  }
  const long nanoseconds = std::min(kLongestNanoseconds, 10'000L * (round - kSpinningRounds + 1));
  const timespec pause{.tv_sec = 0, .tv_nsec = nanoseconds};
  nanosleep(&pause, nullptr);
}

}  // namespace marigold::inner
