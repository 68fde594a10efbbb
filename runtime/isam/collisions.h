// Records that a power loss has left behind and that cannot be there together, because they have
// the same value of a key without duplicates: which of them stay. rebuild.h says by which rule.
#pragma once

#include <vector>

#include "runtime/isam/file.h"
#include "runtime/isam/slot_set.h"

namespace marigold::isam {

// Two surviving slots with one primary key, the older one written just before the newer one.
struct VersionPair {
  SlotNumber newer;
  SlotNumber older;
};
using Versions = std::vector<VersionPair>;

// Takes the entries of the slots that are set aside out of all trees, as far as they are there, and
// puts in those of the versions that come back in their places. `live`: the slots that the trees
// hold, without those set aside; kept so. The trees mean nothing meanwhile: nothing is saved for an
// undo. 0, or the number for iserrno.
int resolve_collisions(File& file, Versions& versions, std::vector<SlotNumber>& set_aside,
                       SlotSet& live);

}  // namespace marigold::isam
