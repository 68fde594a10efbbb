// Operations that are hit: they touch a page of the files that cannot be had, because somebody has
// cut the file, or the disk is full where the page would have to be written, or it cannot be read
// (see platform/missing_page.h). They fail, with 105, 28 or 5, and leave the files as they were.
//
// A change is left at the very touch, as if the process had died there, and is undone like that of
// one who died. Everything else goes on with a page of this process alone: what is read is checked
// as always, what is stored goes nowhere; and before the operation ends, is repeated or makes a
// change, the view is made the files' again. So is it wherever one waits for a word in the view.
//
// Results: 0, or the number for iserrno.
#pragma once

#include <utility>

#include "runtime/isam/change.h"
#include "runtime/platform/missing_page.h"

namespace marigold::isam {

inline bool was_hit(const File& file) {
  const bool hit = file.index.was_hit() || file.data.was_hit();
  return __builtin_expect(static_cast<long>(hit), 0L) != 0;
}

// Makes the view the files' again. Why it was not: 105 for a file that was cut, else 28 or 5.
int after_hit(File& file);

// The result of an operation, or of a part of it, that may have been hit.
inline int unless_hit(File& file, int result) {
  if (was_hit(file)) file.hit = after_hit(file);
  return file.hit == 0 ? result : std::exchange(file.hit, 0);
}

// Runs what stores into nodes outside of a change: it is left where it is hit, and the result is
// the hit's. Nothing on the body's way may have to be destroyed.
template <typename Body>
int leave_when_hit(File& file, Body body) {
  if (was_hit(file)) return after_hit(file);
  int failed = 0;
  auto run = [&] { failed = body(); };
  return run_until_missing_page(run) ? failed : after_hit(file);
}

// As undo_all, which may be hit. Then others undo the rest.
int undo_unless_hit(File& file);

// Ends a change that its body or a hit has stopped; `ending` when the end had begun.
int take_back(File& file, int failed, bool ending);

// Runs a change, and takes it back when it fails on the way. Nothing on the body's way may have to
// be destroyed. The writer's.
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

// When the word could not be given back, which stands in a page that cannot be written: lets others
// see that whoever has it is gone.
void leave_writer_lock(File& file);

}  // namespace marigold::isam
