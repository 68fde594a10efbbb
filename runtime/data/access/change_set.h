// SPDX-License-Identifier: GPL-3.0-or-later
// A set of changes on its way into the files. change_set.cc commits sets in directories, and
// chooses.
#pragma once

#include <span>
#include <string>

#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

struct RecordChange {
  const DataFile* file;  // open
  bool deletes;
  std::string record;
};

// Carries out a set whose files all lie in one database, by a transaction of its server: needs no
// journal, marks and turns. Returns 0; kIsLocked with the file of the locked record; or another
// number with its reason: nothing is changed then. A server that is lost on the way ends the
// process, because nobody can tell then whether it has done the set.
int commit_in_cluster(std::span<const RecordChange> changes, const DataFile*& locked_file,
                      std::string& reason);

}  // namespace marigold::inner
