// SPDX-License-Identifier: GPL-3.0-or-later
// Going over the records of one moment of a data file, while programs change it.
#pragma once

#include <memory>
#include <string>

#include "tools/records/record_walk.h"

namespace marigold {

// As walk_records, from a copy of one moment. The copy lies in a directory for this user alone
// below the one for temporary files; its name is gone when this returns, its space when the walk
// ends. Signals that ask the process to end take effect, and leave nothing behind.
std::unique_ptr<RecordWalk> walk_snapshot(DataTarget& target, RecordText& text,
                                          const WalkRange& range, std::string& problem);

}  // namespace marigold
