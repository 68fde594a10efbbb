// Who may change a pair of files, and how a change stays whole.
//
// Readers take no lock. A reader notes IndexHeader::changes before and after; if a writer was at
// work meanwhile, what it read may be anything and is read again. So whatever a reader follows is
// checked against its bounds first.
//
// A writer puts its place into IndexHeader::writer, makes `changes` odd, saves every byte that it
// changes to the undo area before it changes it, and at the end forgets the undo area, makes
// `changes` even and gives the word back. A process that dies leaves its place behind in the word
// and gives its lock of that place back; whoever finds the word taken by a place that nobody holds
// takes the word over and undoes what the undo area holds.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/isam/change_step.h"
#include "runtime/isam/file.h"
#include "runtime/isam/slots.h"

namespace marigold::isam {

// ---- Changing

// Takes the right to change the file, after whoever has it.
int writer_begin(File& file);
void writer_end(File& file);

// Runs something as the file's writer, and gives the right back however it ends.
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

// Instead of a result: the change needs something that waits for the disk, which nobody does who
// has the right to change the file. See as_prepared_writer.
inline constexpr int kPutInUseFirst = -1;
inline constexpr int kSettleRipeFirst = -2;
inline constexpr int kSettleAllFirst = -3;

// 0, or kPutInUseFirst: the file is put in use before its first change. The writer's.
inline int change_prepare(const File& file) {
  return file.header().state == kStateInUse ? 0 : kPutInUseFirst;
}

// Runs a change as the file's writer, and what it needs first without that right: others go on
// while the disk is waited for.
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
// Everything between these two is done whole or not at all. A change that fails in between is taken
// back by undo_all.
void change_begin(File& file);
void change_end(File& file);

// Saves bytes of one of the two files before they are changed; within a change.
enum class Side : std::uint32_t { kIndex, kData };
void save(File& file, Side side, const std::byte* from, std::size_t length);

// Undoes what a change that was not finished has done, and makes `changes` even. The writer's.
int undo_all(File& file);

// ---- Reading

// The number of changes, even; waits for a writer, and undoes the work of one that died.
int read_begin(File& file, std::uint64_t& changes);
// Whether nothing was changed since.
bool read_was_whole(const File& file, std::uint64_t changes);

}  // namespace marigold::isam
