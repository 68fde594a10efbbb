// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/hit.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "runtime/isam/local/change.h"

namespace marigold::inner::isam {

int after_hit(File& file) {
  int reason = 0;
  for (MappedFile* side : {&file.index, &file.data}) {
    if (!side->was_hit()) continue;
    const int why = side->view_again();
    if (reason == 0 || why == ENODATA) reason = why;
  }
  // A cut file may have other content now.
  std::ranges::fill(file.intact_pages, std::uint8_t{0});
  std::ranges::fill(file.intact_slots, 0);
  return reason == ENODATA ? kIsBadFile : reason;
}

int undo_unless_hit(File& file) {
  return leave_when_hit(file, [&] { return undo_all(file); });
}

int take_back(File& file, int failed, bool ending) {
  const int hit = was_hit(file) ? after_hit(file) : 0;
  // Emptying the undo area ends a change, though `changes` may still be odd.
  const bool done = ending && hit != kIsBadFile && file.header().undo_used == 0;
  const int again = undo_unless_hit(file);
  if (done) return 0;
  if (hit != 0) return hit;
  return again != 0 ? again : failed;
}

void leave_writer_lock(File& file) {
  after_hit(file);
  const bool is_exclusive = file.exclusive;  // no other process waits for the lock
  const std::uint32_t word = std::atomic_ref(file.header().writer).load();
  if (is_exclusive || word != file.seat + 1) return;
  for (std::uint32_t seat = 0; seat < kSeats; ++seat) {
    if (seat == file.seat || file.index.lock(kSeatLocks + seat, true) != 0) continue;
    file.index.unlock(kSeatLocks + file.seat);
    file.seat = seat;
    return;
  }
}

}  // namespace marigold::inner::isam
