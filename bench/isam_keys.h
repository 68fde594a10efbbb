// SPDX-License-Identifier: GPL-3.0-or-later
// The three keys of the records of isam_workload.h, as descriptions for the engine.
#pragma once

#include "runtime/isam/common/isam.h"

namespace marigold::inner::bench {

// 0: the primary key; 1 and 2 allow duplicates.
inline KeyDescription key_of(int number) {
  constexpr KeyPart kParts[] = {{0, 8, kIsCharacters}, {8, 20, kIsCharacters}, {28, 4, kIsInt4}};
  KeyDescription key;
  key.flags = number == 0 ? std::int16_t{0} : kIsDuplicatesAllowed;
  key.part_count = 1;
  key.parts[0] = kParts[number];
  return key;
}

}  // namespace marigold::inner::bench
