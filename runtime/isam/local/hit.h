// SPDX-License-Identifier: GPL-3.0-or-later
// Operations that are hit: they touch a page of the files that cannot be had, because somebody has
// cut the file, or the disk is full where the page would have to be written, or the page cannot be
// read (see platform/missing_page.h). They fail with 105, 28 or 5, and leave the files as they
// were.
//
// A change stops at the very touch, as if the process had died there, and is undone like the change
// of a dead process. Every other operation goes on with a page of this process alone: reads from
// that page are verified as always, and stores to it are lost. Before the operation ends, is
// repeated or makes a change, the view shows the files again; and so it does wherever a process
// waits for a value in the view to change.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <utility>

#include "runtime/isam/local/change.h"
#include "runtime/platform/missing_page.h"

namespace marigold::inner::isam {

inline bool was_hit(const File& file) {
  const bool hit = file.index.was_hit() || file.data.was_hit();
  return __builtin_expect(static_cast<long>(hit), 0L) != 0;
}

// Makes the view show the files again. Returns the reason of the hit: 105 for a file that was cut,
// else 28 or 5.
int after_hit(File& file);

// Result of an operation, or of a part of it, that may have been hit.
inline int unless_hit(File& file, int result) {
  if (was_hit(file)) file.hit = after_hit(file);
  return file.hit == 0 ? result : std::exchange(file.hit, 0);
}

// Runs a body that stores into nodes outside of a change. A hit ends the body at once and gives the
// result. No object within the body may need its destructor.
template <typename Body>
int leave_when_hit(File& file, Body body) {
  if (was_hit(file)) return after_hit(file);
  int failed = 0;
  auto run = [&] { failed = body(); };
  return run_until_missing_page(run) ? failed : after_hit(file);
}

// Does the same as undo_all, which may be hit. Another process then undoes the rest.
int undo_unless_hit(File& file);

// Ends a change that its body or a hit has stopped; `ending` when the end had begun.
int take_back(File& file, int failed, bool ending);

// Runs a change, and takes it back when it fails on the way. No object within the body may need its
// destructor. Called by the writer.
template <typename Body>
int change(File& file, Body body) {
  if (was_hit(file)) return after_hit(file);
  int failed = 0;
  bool ending = false;
  auto run = [&] {
    change_begin(file);
    failed = body();
    if (failed != 0) return;
    ending = true;
    change_end(file);
  };
  if (run_until_missing_page(run) && failed == 0) return 0;
  return take_back(file, failed, ending);
}

// Called when the writer lock could not be given back, because its page cannot be written: takes
// another seat and gives up its own, so that other processes take the holder of the lock for dead.
void leave_writer_lock(File& file);

}  // namespace marigold::inner::isam
