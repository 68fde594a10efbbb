// Making the trees of an index file from the records of its data file.
#pragma once

#include "runtime/isam/file.h"
#include "runtime/isam/isam.h"

namespace marigold::isam {

// Puts an index file in the place of what is there, with the trees of `file.trees` over all whole
// records. Of two records with the same value of a key without duplicates the one that was written
// later stays; only a power loss leaves two. The caller has the file for itself. When it is
// interrupted the next one to open the file begins again.
struct RebuildOptions {
  bool give_back = false;  // the space behind the last record, and behind the last page
  IsWatch watch = {};
};
int rebuild_indexes(File& file, const RebuildOptions& options = {});

}  // namespace marigold::isam
