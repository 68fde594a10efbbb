// SPDX-License-Identifier: GPL-3.0-or-later
// The holders of a path class, in the form that the commands show.
#pragma once

#include <string>

#include "runtime/data/access/lock_file.h"
#include "tools/common/json_text.h"

namespace marigold::inner {

// Returns "process 4711 on pult3, shared".
std::string describe_holder(const LockHolder& holder);
Json holder_as_json(const LockHolder& holder);

// Returns the reason why the class could not be taken: its directory and its known holders.
std::string locked_class_text(int path_class);

}  // namespace marigold::inner
