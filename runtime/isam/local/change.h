// SPDX-License-Identifier: GPL-3.0-or-later
// Changes of a pair of files: who may change it, and how a change stays whole.
//
// Readers take no lock. A reader notes IndexHeader::changes before and after; if a change has
// overlapped the read, the bytes read may be anything and are read again. So a reader verifies
// every page and number before it follows it.
//
// A writer stores its seat in IndexHeader::writer (the writer lock), makes `changes` odd, saves
// bytes to the undo area before it overwrites them, and at the end empties the undo area, makes
// `changes` even and gives the lock back. A process that dies leaves its seat in
// IndexHeader::writer, while the system gives its lock of the seat back. A process that finds the
// writer lock with a seat that no process holds takes the lock over and undoes the saved part of
// the change.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/file.h"
#include "runtime/isam/local/slots.h"

namespace marigold::inner::isam {

// ---- Changing

// Takes the writer lock, after the process that has it, and undoes the change of a dead writer.
int writer_begin(File& file);
void writer_end(File& file);

// Runs a body as the file's writer, and gives the writer lock back however the body ends.
template <typename Body>
int as_writer(File& file, Body body) {
  if (const int failed = writer_begin(file)) return failed;
  struct Scope {
    File& file;
    ~Scope() { writer_end(file); }
  };
  const Scope scope{file};
  return body();
}

// Returned by a change in place of a result when it first needs work that waits for the disk, which
// the writer must not do. as_prepared_writer does the work and runs the change again.
inline constexpr int kPutInUseFirst = -1;
inline constexpr int kSettleRipeFirst = -2;
inline constexpr int kSettleAllFirst = -3;

// 0, or kPutInUseFirst: a file is put in use before its first change. Called by the writer.
inline int change_prepare(const File& file) {
  return file.header().state == kStateInUse ? 0 : kPutInUseFirst;
}

// Runs a change as the file's writer, and does work that waits for the disk without the writer
// lock, so that other processes go on meanwhile.
template <typename Change>
int as_prepared_writer(File& file, Change change) {
  file.settling = {};
  for (;;) {
    const int result = as_writer(file, change);
    int failed = 0;
    if (result == kPutInUseFirst) {
      failed = file_put_in_use(file);
    } else if (result == kSettleRipeFirst) {
      file.settling.ripe_tried = true;
      failed = slots_settle_ripe(file);
    } else if (result == kSettleAllFirst) {
      file.settling.all_tried = true;
      failed = slots_settle(file);
    } else {
      return result;
    }
    if (failed != 0) return failed;
  }
}
// A change between these two happens whole or not at all. One that fails in between is taken back
// by undo_all.
void change_begin(File& file);
void change_end(File& file);

// Saves bytes of one of the two files before they are overwritten; within a change.
enum class Side : std::uint32_t { kIndex, kData };
void save(File& file, Side side, const std::byte* from, std::size_t length);

// Undoes an unfinished change and makes `changes` even. Called by the writer.
int undo_all(File& file);

// ---- Reading

// Gives the number of changes, which is even. Waits for a writer, and undoes the change of a dead
// one.
int read_begin(File& file, std::uint64_t& changes);
// Whether no change has begun since read_begin gave `changes`.
bool read_was_whole(const File& file, std::uint64_t changes);

}  // namespace marigold::inner::isam
