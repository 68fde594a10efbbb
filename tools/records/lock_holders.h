// SPDX-License-Identifier: GPL-3.0-or-later
// Who holds a path class, as the commands show it.
#pragma once

#include <string>

#include "runtime/data/access/lock_file.h"
#include "tools/common/json_text.h"

namespace marigold {

// "process 4711 on pult3, shared"
std::string describe_holder(const LockHolder& holder);
OrderedJson holder_as_json(const LockHolder& holder);

// Why the class could not be taken: its directory and its holders, as far as they are known.
std::string locked_class_text(int path_class);

}  // namespace marigold
