// SPDX-License-Identifier: GPL-3.0-or-later
// Reads and writes a file at positions, with byte-range locks. Offsets and lengths are in bytes.
//
// Results: 0 for done, else the system's error number. Nothing here prints; only sync waits. The
// object holds the locks: they exclude other objects, in this process and in any other, and closing
// gives them back. Locked bytes may lie anywhere, also far beyond the end of the file. A forked
// child finds its inherited objects closed.
#pragma once

#include <cstdint>
#include <span>

#include "runtime/platform/new_file.h"
#include "runtime/platform/opened_file.h"

namespace marigold::inner {

// Called after each successful sync if set, for tests that simulate a power loss. Null in every
// program but tests.
extern void (*record_synced_hook)(const class RecordFile& file);

class RecordFile : public OpenedFile {
 public:
  RecordFile() = default;

  // Opens a regular file. ENOENT and so on from the system; EINVAL for anything but a regular file.
  int open(const char* path, bool writable);
  // Opens a file of the runtime's own, which users have no reason to put elsewhere: ELOOP for a
  // link, EMLINK for a file that has a second name. So the runtime never writes into a file that
  // another user has chosen.
  int open_own(const char* path, bool writable);
  // Makes an empty file and opens it for reading and writing. EEXIST if the name is taken.
  int create(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // Like FileWriter::take_access.
  int take_access(const char* like);

  [[nodiscard]] int size(std::uint64_t& bytes) const;
  // Whether the name still leads to this file; a program may have put another one in its place.
  [[nodiscard]] bool is_still_at(const char* path) const;
  // Empties the file.
  int cut();
  // Makes all written bytes durable.
  int sync();

  // Reads up to the end of the file, where `count` is less than the length of `bytes`.
  int read(std::uint64_t offset, std::span<char> bytes, std::size_t& count) const;
  // Writes all bytes. After a failure an unknown number of the first ones may be in the file.
  int write(std::uint64_t offset, std::span<const char> bytes);

  // Locks bytes, shared or (in a file opened for writing) exclusive. A further call for the same
  // bytes leaves the lock as it is, or makes an exclusive one shared. EAGAIN if another object has
  // locked one of the bytes in a way that excludes this lock.
  int lock(std::uint64_t offset, std::uint64_t count, bool exclusive);
  int unlock(std::uint64_t offset, std::uint64_t count);
  // Whether another object holds a lock on the byte, for reports: a system that cannot ask takes a
  // shared lock for a moment, and so misses the shared locks of others.
  int locked_by_other(std::uint64_t offset, bool& locked) const;
  // Whether another object holds an exclusive lock on the byte; see MappedFile.
  int locked_exclusively_by_other(std::uint64_t offset, bool& locked) const;
};

}  // namespace marigold::inner
