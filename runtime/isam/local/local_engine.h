// SPDX-License-Identifier: GPL-3.0-or-later
// The engine whose files are pairs of files on a disk of this machine.
#pragma once

#include "runtime/isam/common/engine.h"

namespace marigold::inner::isam {

extern const IsamEngine kLocalEngine;

}  // namespace marigold::inner::isam
