// SPDX-License-Identifier: GPL-3.0-or-later
// Rebuilds the trees of an index file from the records of its data file.
//
// After a power loss the disk holds any mixture of old and new sectors: several versions of a
// record, and records that exclude each other. So:
//   - of the surviving slots with one primary key the one with the latest sequence wins;
//   - of two winners with the same value of a key without duplicates the later one is set aside for
//     good, and the next older version with its primary key comes back, if there is one; this is
//     repeated until no two winners collide.
// No record that the last settled epoch has left is ever set aside: such records survive, because
// nothing is written over them before a later epoch is settled; no two of them collide; and their
// sequences are lower than those of all records written since.
//
// The data file is read once. The entries of all trees are sorted (entry_sort.h) and each tree is
// written from its leaves up (tree_build.h). Only slots whose state changes are written.
#pragma once

#include <memory>

#include "runtime/isam/common/isam.h"
#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

struct RebuildOptions {
  // The file gives up the slots after the last record; rebuild_indexes gives their space back as
  // well.
  bool give_back = false;
  IsWatch watch = {};  // null: the watch set by watch_rebuilds
};

// Numbers of slots found.
struct RebuildStock {
  std::uint64_t survivors = 0;  // whole records, all versions counted
  std::uint64_t torn = 0;       // slots that held a record and hold no whole one
};

// Rebuild in two steps, for callers with work to do between them. The caller has the file for
// itself.
class Rebuild {
 public:
  Rebuild(File& file, RebuildOptions options);
  ~Rebuild();
  Rebuild(const Rebuild&) = delete;
  Rebuild& operator=(const Rebuild&) = delete;

  // Writes header, trees and counts into the index file, over its old content. The data file is
  // only read.
  int make_trees(RebuildStock& stock);
  // Gives the slots of the data file the states that go with the trees. Syncs them if a power loss
  // has left anything but the records: a version that was set aside must not come back after the
  // next one.
  int mark_slots();

 private:
  class Work;

  File& file_;
  RebuildOptions options_;
  std::unique_ptr<Work> work_;
};

// The watch of rebuilds that have none of their own.
void watch_rebuilds(IsRebuildWatch watch);

// Does both steps on the index that the file has. The index is marked until it is whole, so that
// the next process to open it starts over after an interruption.
int rebuild_indexes(File& file, const RebuildOptions& options = {});

// Whether two records have the same value of a key, which the file need not have.
int has_duplicates(const File& file, const TreeShape& shape, bool& found);

}  // namespace marigold::inner::isam
