// A file read and written at positions, with byte-range locks. Offsets and lengths are in bytes.
//
// Results: 0 for done, else the system's error number. Nothing here prints or waits. Locks are held
// by the object: they exclude other objects, in this process and in any other, and closing gives
// them back. They may lie anywhere, also far behind the end of the file. In a forked child an
// inherited object is closed.
#pragma once

#include <cstdint>
#include <span>

#include "runtime/platform/new_file.h"
#include "runtime/platform/opened_file.h"

namespace marigold {

class RecordFile : public OpenedFile {
 public:
  RecordFile() = default;

  // Opens a regular file. ENOENT and so on from the system; EINVAL for anything but a regular file.
  int open(const char* path, bool writable);
  // The same for a file of the runtime's own, which nobody has reason to put elsewhere: ELOOP for a
  // link, EMLINK for one that has another name as well. What is written there cannot end up in a
  // file that somebody else has chosen.
  int open_own(const char* path, bool writable);
  // Makes an empty file and opens it for reading and writing. EEXIST when the name is taken.
  int create(const char* path, NewFileAccess access = NewFileAccess::kByMask);
  // As FileWriter::take_access.
  int take_access(const char* like);

  [[nodiscard]] int size(std::uint64_t& bytes) const;
  // Whether the name still leads to this file; another one may have been put in its place.
  [[nodiscard]] bool is_still_at(const char* path) const;
  // Makes it empty.
  int cut();
  // Waits until the disk holds everything that was written.
  int sync();

  // Reads up to the end of the file: `count` is less than asked for there.
  int read(std::uint64_t offset, std::span<char> bytes, std::size_t& count) const;
  // Writes all of the bytes. On failure an unknown number of the first ones may have been written.
  int write(std::uint64_t offset, std::span<const char> bytes);

  // Locks bytes, shared or (a file opened for writing) exclusive. Asking again changes the kind.
  // EAGAIN when another object has locked one of them in a way that excludes this one.
  int lock(std::uint64_t offset, std::uint64_t count, bool exclusive);
  int unlock(std::uint64_t offset, std::uint64_t count);
  // Whether another object holds a lock on the byte; of either kind, or an exclusive one. Who may
  // only read the file can hold no exclusive one.
  int locked_by_other(std::uint64_t offset, bool& locked) const;
  int locked_exclusively_by_other(std::uint64_t offset, bool& locked) const;
};

}  // namespace marigold
