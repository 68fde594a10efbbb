// SPDX-License-Identifier: GPL-3.0-or-later
#include <vector>

#include "runtime/core/user_interface.h"
#include "runtime/data/access/change_set.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/record_change.h"
#include "runtime/isam/common/cluster.h"

namespace marigold::inner {

int commit_in_cluster(std::span<const RecordChange> changes, const DataFile*& locked_file,
                      std::string& reason) {
  std::vector<IsSetChange> steps;
  for (const RecordChange& change : changes)
    steps.push_back({.number = change.file->engine.descriptor,
                     .deletes = change.deletes,
                     .record = change.record.data()});
  std::size_t locked = 0;
  if (isset(steps, locked) == 0) return 0;
  const int failed = iserrno;
  switch (failed) {
    case kIsLocked:
      locked_file = changes[locked].file;
      break;
    case kIsServer:
      user_interface().warning("the set of changes is done as a whole, or nothing of it");
      [[fallthrough]];
    case kIsLockLost:
    case kIsChangesLost:
      data_fatal("", failed);
    default:
      reason = engine_reason(failed);  // names the place
      if (reason.empty()) reason = change_error_text(failed);
      break;
  }
  return failed;
}

}  // namespace marigold::inner
