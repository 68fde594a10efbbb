// SPDX-License-Identifier: GPL-3.0-or-later
// The interface of the engine, as its own sources include it.
#pragma once

#include "marigold/isam.h"  // IWYU pragma: export
