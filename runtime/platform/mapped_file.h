// SPDX-License-Identifier: GPL-3.0-or-later
// A file mapped into memory, with its disk space, its locks and its syncs. Closing syncs nothing.
//
// Results: 0 for done, else the system's error number. Nothing here prints; only the syncs wait.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "runtime/platform/new_file.h"
#include "runtime/platform/opened_file.h"

namespace marigold::inner {

enum class FileAccess { kRead, kReadWrite };

// The calls that a test can let fail. kWrite is one of RecordFile, whose syncs are kSync as well.
enum class FileCall { kOpen, kReserve, kMap, kSync, kLock, kWrite };

// Called before each such call if set: 0 lets the call happen, an error number replaces it. Null in
// every program but tests.
extern int (*file_fault_hook)(FileCall call);

// Called after each successful sync if set, with the file's contents and the part that is durable
// now, for tests that simulate a power loss. Null in every program but tests.
extern void (*file_synced_hook)(const class MappedFile& file, std::uint64_t offset,
                                std::uint64_t bytes);

// Identifies a file, independent of the name by which it was opened.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  bool operator==(const FileIdentity&) const = default;
};

class MappedFile : public OpenedFile {
 public:
  MappedFile() = default;

  // Opens a regular file. ENOENT and so on from the system; EINVAL for anything but a regular file;
  // kOnNetworkDrive (system_error.h) where views of such a file differ between machines.
  int open(const char* path, FileAccess access);
  // Makes a new file for reading and writing. EEXIST if the name is taken;
  // kOnNetworkDrive as above, and there is no new file then.
  int create(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // Like FileWriter::take_access.
  int take_access(const char* like);

  [[nodiscard]] int size(std::uint64_t& bytes) const;
  [[nodiscard]] int identity(FileIdentity& identity) const;
  // Whether the name still leads to this file; a program may have put another one in its place.
  [[nodiscard]] bool is_still_at(const char* path) const;

  // Makes the file at least this long with disk space for every byte, so that no store to the
  // memory fails for want of space. On a disk that keeps old versions of overwritten data, or
  // shares data, this is no promise. ENOSPC, EFBIG, EDQUOT; the length is then as before, also where
  // a mapped file cannot be cut: there the system must take all of the space in one step or none.
  // New bytes are zero.
  int reserve(std::uint64_t bytes);
  // Cuts the file to this length. Earlier addresses become void; a failure leaves everything as
  // before. No other object may have mapped the file: some systems refuse then.
  int truncate(std::uint64_t bytes);
  // Maps at least the first `bytes`, and address space for as much again, so that the view of a
  // growing file rarely moves. The caller must not touch memory beyond the end of the file. Earlier
  // addresses become void. A failure leaves everything as before.
  int map(std::uint64_t bytes);
  // Gives the memory back; the file stays open and keeps its locks. Some systems refuse to replace,
  // to remove or to cut a file that anybody has mapped, so do this before. map may follow.
  using OpenedFile::unmap;
  [[nodiscard]] std::byte* memory() const { return memory_; }
  [[nodiscard]] std::uint64_t mapped() const { return mapped_; }
  // Takes a range out of this process's memory until the process touches it again; the system keeps
  // the stored bytes. For one pass through a large file. No promise.
  void forget(std::uint64_t offset, std::uint64_t bytes) const;

  // Reads bytes without the mapping: a full disk then needs no space for bytes that were never
  // written. EIO if the file ends before.
  int read(std::uint64_t offset, std::span<std::byte> bytes) const;

  // Makes all stored bytes durable. After a missing page (was_hit) returns the reason, EIO for a
  // file that was cut: the stored bytes may not be in the file.
  int sync();
  // Makes the stored bytes of a mapped part durable, and waits for no others.
  int sync_part(std::uint64_t offset, std::uint64_t bytes);
  // Lets the system begin to write a part out, so that a later sync waits for less. No promise.
  void start_sync(std::uint64_t offset, std::uint64_t bytes);

  // Locks one byte, also beyond the end of the file, against other objects of any process. A
  // further call for the byte leaves its lock as it is, or makes an exclusive one shared;
  // lock_if_alone does the reverse. EAGAIN if another object holds a lock that excludes this one.
  int lock(std::uint64_t offset, bool exclusive);
  // Makes this object's shared lock of the byte exclusive if no other object holds a lock on it.
  // EAGAIN if another one does; the lock is then shared as before. Some systems do not change a
  // lock in one step. So the caller holds, exclusively, a lock that every object takes before it
  // locks this byte exclusively: none can come between the steps.
  int lock_if_alone(std::uint64_t offset);
  // Whether lock can take exclusive locks: some systems let only those do so who may write the file.
  [[nodiscard]] bool may_lock_exclusively() const;
  // Gives back this object's locks of one byte, or of a range.
  int unlock(std::uint64_t offset, std::uint64_t count = 1);
  // Whether another object holds a lock of any kind on one of the bytes; this object may hold
  // shared ones. Some systems find out only if they lock the bytes exclusively for a moment. So the
  // caller holds, exclusively, a lock that every object takes before it locks one of these bytes.
  int locked_by_other(std::uint64_t offset, bool& locked, std::uint64_t count = 1) const;
  // Whether another object holds an exclusive lock on the byte. Needs no other lock: a system that
  // cannot ask takes a shared lock for a moment, which makes no such call and no shared lock of
  // others fail, and lets an exclusive lock of others try again.
  int locked_exclusively_by_other(std::uint64_t offset, bool& locked) const;

  // Whether a page of the view was missing (see missing_page.h). Later stores may have gone into
  // pages that only this process sees.
  [[nodiscard]] bool was_hit() const { return hit_ != kNotHit; }
  // Maps the file again and forgets the missing page. Returns the reason: ENODATA for a file that
  // was cut, ENOSPC for a full disk, EIO. If mapping fails, returns that error and leaves
  // everything as before.
  int view_again();
};

// Lets other processes go on: the first ten rounds yield the processor, and later rounds sleep for
// up to a millisecond.
void wait_a_little(int round);

}  // namespace marigold::inner
