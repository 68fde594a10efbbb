// SPDX-License-Identifier: GPL-3.0-or-later
// Data files of every kind: the operations of the public header, with the handle as it is inside.
#pragma once

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/access/data_handle.h"
#include "runtime/data/access/lock_decision.h"
