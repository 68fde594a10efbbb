// A file seen as memory, with the space behind it, its locks and its way to the disk.
//
// Results: 0 for done, else the system's error number. Nothing here prints; nothing waits but sync.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/platform/new_file.h"

namespace marigold {

enum class FileAccess { kRead, kReadWrite };

// The calls at which a test can let the system fail.
enum class FileCall { kOpen, kReserve, kMap, kSync, kLock };

// Asked before each such call when set: 0 lets it happen, an error number takes its place. Null in
// every program but tests.
extern int (*file_fault_hook)(FileCall call);

// Told after each sync that succeeded, with the file's contents; for tests that play a power loss.
// Null as above.
extern void (*file_synced_hook)(const class MappedFile& file);

// What tells one file from another, whatever name it was opened by.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  bool operator==(const FileIdentity&) const = default;
};

class MappedFile {
 public:
  MappedFile() = default;
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile() { close(); }

  // Opens a regular file. ENOENT and so on from the system; EINVAL for anything but a regular file.
  int open(const char* path, FileAccess access);
  // Makes a new file for reading and writing. EEXIST when the name is taken.
  int create(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // As FileWriter::take_access.
  int take_access(const char* like);
  // Unmaps and closes, which gives all locks of this object back. Nothing is synced.
  void close();

  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  [[nodiscard]] int size(std::uint64_t& bytes) const;
  [[nodiscard]] int identity(FileIdentity& identity) const;
  // Whether the name still leads to this file; another one may have been put in its place.
  [[nodiscard]] bool is_still_at(const char* path) const;

  // Makes the file at least this long with disk space behind every byte, so that no store to the
  // memory can fail for want of space. ENOSPC, EFBIG, EDQUOT; then the length is as before. New
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

  // Waits until the disk holds everything that was stored.
  int sync();
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

 private:
  int descriptor_ = -1;
  bool writable_ = false;
  std::byte* memory_ = nullptr;
  std::uint64_t mapped_ = 0;
};

// Gives another processor or process the chance to go on: first only this processor's pipeline,
// from the tenth round on the process sleeps for up to a millisecond.
void wait_a_little(int round);

}  // namespace marigold
