// Bringing deletions to the disk, for those who do more than that between the steps.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

// Who settles: one process at a time, which gives the lock back when it dies.
class Settler {
 public:
  explicit Settler(File& file) : file_(file) {}
  ~Settler() {
    if (held_) file_.index.unlock(kSettleLock);
  }
  Settler(const Settler&) = delete;
  Settler& operator=(const Settler&) = delete;

  // 113 when somebody else is.
  int become();

 private:
  File& file_;
  bool held_ = false;
};

// Waits for it: 113 after some ten seconds. Somebody who may only read the file can hold it for
// ever.
int wait_to_settle(Settler& settler);

// Settles the ripe slots and makes them free. The settler's, who is not the writer.
int settle_ripe(File& file);

// Makes everything gone ripe; what is deleted from now on belongs to the next epoch. The settler's
// and the writer's, when nothing is ripe.
int begin_epoch(File& file);

// Frees the slots that were kept for snapshots, if nobody reads one any more.
int slots_free_kept(File& file);

}  // namespace marigold::isam
