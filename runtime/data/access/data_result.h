// SPDX-License-Identifier: GPL-3.0-or-later
// Results of the operations on data files.
#pragma once

#include "marigold/data.h"  // IWYU pragma: export
