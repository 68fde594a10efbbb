// Making the trees of an index file from the records of its data file.
//
// A power loss leaves whatever sectors had reached the disk: several versions of a record, and
// records that cannot be there together. So:
//   - of the surviving slots with one primary key the one with the latest sequence wins;
//   - of two winners with the same value of a key without duplicates the later one is set aside for
//     good, and the next older version of its own primary key comes back, if there is one; and so
//     on until nothing collides.
// All records that the last settled epoch has left behind survive, because nothing is written over
// them until a later one is settled; no two of them collide; and their sequences are lower than all
// written since. So none of them is ever set aside.
//
// The data file is read once. The entries of all trees are sorted (entry_sort.h) and each tree is
// written from its leaves up (tree_build.h). Only the slots whose state changes are written.
#pragma once

#include <memory>

#include "runtime/isam/file.h"
#include "runtime/isam/isam.h"

namespace marigold::isam {

struct RebuildOptions {
  // The slots behind the last record are no longer the file's; rebuild_indexes gives their space
  // back as well.
  bool give_back = false;
  IsWatch watch = {};  // null: that of is_watch_rebuilds
};

// What the slots were found to hold.
struct RebuildStock {
  std::uint64_t survivors = 0;  // whole records, several versions of one included
  std::uint64_t torn = 0;       // slots that held a record and hold no whole one
};

// In two steps, for whoever has something to do between them. The caller has the file for itself.
class Rebuild {
 public:
  Rebuild(File& file, RebuildOptions options);
  ~Rebuild();
  Rebuild(const Rebuild&) = delete;
  Rebuild& operator=(const Rebuild&) = delete;

  // Writes header, trees and counts into the index file, in the place of what is there. The data
  // file is only read.
  int make_trees(RebuildStock& stock);
  // Gives the slots of the data file the states that go with the trees. Where a power loss has left
  // anything but the records, brings them to the disk: what has been set aside must not come back
  // after the next one.
  int mark_slots();

 private:
  class Work;

  File& file_;
  RebuildOptions options_;
  std::unique_ptr<Work> work_;
};

// Both steps, on the index that the file has: marked until it is whole, so that the next one to
// open it begins again when this is interrupted.
int rebuild_indexes(File& file, const RebuildOptions& options = {});

// Whether two records have the same value of a key that the file need not have.
int has_duplicates(const File& file, const TreeShape& shape, bool& found);

}  // namespace marigold::isam
