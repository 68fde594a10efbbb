// A file seen as memory, with the space behind it, its locks and its way to the disk. Closing syncs
// nothing.
//
// Results: 0 for done, else the system's error number. Nothing here prints; nothing waits but sync.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/platform/new_file.h"
#include "runtime/platform/opened_file.h"

namespace marigold {

enum class FileAccess { kRead, kReadWrite };

// The calls at which a test can let the system fail.
enum class FileCall { kOpen, kReserve, kMap, kSync, kLock };

// Asked before each such call when set: 0 lets it happen, an error number takes its place. Null in
// every program but tests.
extern int (*file_fault_hook)(FileCall call);

// Told after each sync that succeeded, with the file's contents and the part that is on the disk
// now; for tests that play a power loss. Null as above.
extern void (*file_synced_hook)(const class MappedFile& file, std::uint64_t offset,
                                std::uint64_t bytes);

// What tells one file from another, whatever name it was opened by.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  bool operator==(const FileIdentity&) const = default;
};

class MappedFile : public OpenedFile {
 public:
  MappedFile() = default;

  // Opens a regular file. ENOENT and so on from the system; EINVAL for anything but a regular file.
  int open(const char* path, FileAccess access);
  // Makes a new file for reading and writing. EEXIST when the name is taken.
  int create(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // As FileWriter::take_access.
  int take_access(const char* like);

  [[nodiscard]] int size(std::uint64_t& bytes) const;
  [[nodiscard]] int identity(FileIdentity& identity) const;
  // Whether the name still leads to this file; another one may have been put in its place.
  [[nodiscard]] bool is_still_at(const char* path) const;

  // Makes the file at least this long with disk space behind every byte, so that no store to the
  // memory fails for want of space; but where the disk keeps old versions of what is overwritten,
  // or shares it, that is no promise. ENOSPC, EFBIG, EDQUOT; then the length is as before. New
  // bytes are zero.
  int reserve(std::uint64_t bytes);
  // Gives back the space from there on. What lies behind it must not be touched from then on.
  int truncate(std::uint64_t bytes);
  // Makes at least the first `bytes` visible as memory, and address space for as much again, so
  // that a growing file is moved seldom. What lies behind the end of the file must not be touched.
  // Addresses taken before are void. On failure everything is as before.
  int map(std::uint64_t bytes);
  [[nodiscard]] std::byte* memory() const { return memory_; }
  [[nodiscard]] std::uint64_t mapped() const { return mapped_; }
  // Takes a range out of this process's memory until it is touched again; the system keeps what was
  // stored there. For whoever goes through a large file once. No promise.
  void forget(std::uint64_t offset, std::uint64_t bytes) const;

  // Reads bytes without the memory: space that was never written is not asked of a full disk. EIO
  // when the file ends before.
  int read(std::uint64_t offset, std::span<std::byte> bytes) const;

  // Waits until the disk holds everything that was stored. After a hit
  // ENOSPC or EIO: what was stored may not be in the file.
  int sync();
  // The same for a part that is mapped: what is stored elsewhere is not waited for.
  int sync_part(std::uint64_t offset, std::uint64_t bytes);
  // Lets the system begin with a part of that, so that a later sync waits for less. No promise.
  void start_sync(std::uint64_t offset, std::uint64_t bytes);

  // Locks one byte of the file, which need not exist, against other objects of any process. Asking
  // again changes the kind of the lock. EAGAIN when another object holds it in a way that excludes
  // this one.
  int lock(std::uint64_t offset, bool exclusive);
  // Gives back one byte, or a range of them.
  int unlock(std::uint64_t offset, std::uint64_t count = 1);
  // Whether another object holds a lock on the byte, or one of them; of either kind, or an
  // exclusive one. Who may only read the file can hold no exclusive one.
  int locked_by_other(std::uint64_t offset, bool& locked, std::uint64_t count = 1) const;
  int locked_exclusively_by_other(std::uint64_t offset, bool& locked) const;

  // Whether a page of the view could not be had (see missing_page.h). Stores may have gone into
  // pages of this process alone since.
  [[nodiscard]] bool was_hit() const { return hit_ != kNotHit; }
  // Makes the view the file's again and forgets that it was hit. Why it was: ENODATA for a file
  // that was cut, ENOSPC for a disk that is full, EIO. When the view cannot be had, why not; then
  // it is as before.
  int view_again();
};

// Gives another processor or process the chance to go on: first only this processor's pipeline,
// from the tenth round on the process sleeps for up to a millisecond.
void wait_a_little(int round);

}  // namespace marigold
