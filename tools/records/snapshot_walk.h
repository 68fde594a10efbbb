// SPDX-License-Identifier: GPL-3.0-or-later
// Walks the records that a data file has at one moment, while programs change the file.
#pragma once

#include <memory>
#include <string>

#include "tools/records/record_walk.h"

namespace marigold::inner {

// Like walk_records, but from a copy of one moment. The copy lies in a private directory below the
// one for temporary files; its name is removed when this function returns, its space is freed when
// the walk ends. Signals that ask the process to end take effect and leave no file; on a system that
// keeps a directory in which a file is open, they leave the empty directory.
std::unique_ptr<RecordWalk> walk_snapshot(DataTarget& target, RecordText& text,
                                          const WalkRange& range, std::string& problem);

}  // namespace marigold::inner
