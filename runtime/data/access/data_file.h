// Data files of every kind, opened by their definition and read and written through its record
// buffer: the operations of the public header, on the definition as it is inside.
#pragma once

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/access/lock_decision.h"
#include "runtime/data/definition/definition.h"
